# For cross compilation: Qt's packages in the device's root name the device's own code generators,
# which do not run here. The build machine's, of the same version, take their place.
foreach(tool moc qdbusxml2cpp)
    find_program(HOST_QT_${tool} ${tool} HINTS /usr/lib/qt5/bin NO_CMAKE_FIND_ROOT_PATH REQUIRED)
    add_executable(Qt5::${tool} IMPORTED)
    set_target_properties(Qt5::${tool} PROPERTIES IMPORTED_LOCATION ${HOST_QT_${tool}})
endforeach()
