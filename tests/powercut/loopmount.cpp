// Finds a loop device, puts it on an image and mounts it (loop(4)).
// SPDX-License-Identifier: MIT
#include "loopmount.h"

#include <QDir>
#include <QFile>

#include <cerrno>

#include <fcntl.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

// Numbers of fixed devices: the kernel's Documentation/admin-guide/devices.txt.
constexpr unsigned int controlMajor = 10;
constexpr unsigned int controlMinor = 237;
constexpr unsigned int loopMajor = 7;

/// Opens a device that has no node in the phone's /dev, by a node of its own at @p path.
int openDevice(const QString &path, mode_t type, unsigned int major, unsigned int minor)
{
    const QByteArray name = QFile::encodeName(path);
    QFile::remove(path);
    if (mknod(name.constData(), type | 0600, makedev(major, minor)) != 0) {
        return -1;
    }
    return open(name.constData(), O_RDWR | O_CLOEXEC);
}

} // namespace

LoopMount::LoopMount(const QString &image, const QString &directory, const char *options)
    : m_directory(directory)
{
    const int file = open(QFile::encodeName(image).constData(), O_RDWR | O_CLOEXEC);
    if (file < 0 || !QDir().mkpath(directory)) {
        m_error = QStringLiteral("the disk cannot be opened: ") + qt_error_string();
        return;
    }
    const int device = attach(file);
    close(file);
    if (device < 0) {
        return;
    }
    const QString node = directory + QStringLiteral(".loop");
    if (mount(QFile::encodeName(node).constData(), QFile::encodeName(directory).constData(), "ext4",
              0, options)
        != 0) {
        m_error = QStringLiteral("the disk cannot be mounted: ") + qt_error_string();
    }
    close(device);
    QFile::remove(node);
}

LoopMount::~LoopMount()
{
    if (m_error.isEmpty()) {
        umount2(QFile::encodeName(m_directory).constData(), MNT_DETACH);
    }
}

int LoopMount::attach(int image)
{
    const int control
        = openDevice(m_directory + QStringLiteral(".control"), S_IFCHR, controlMajor, controlMinor);
    int device = -1;
    while (control >= 0) {
        const int number = ioctl(control, LOOP_CTL_GET_FREE);
        if (number < 0) {
            break;
        }
        device = openDevice(m_directory + QStringLiteral(".loop"), S_IFBLK, loopMajor,
                            static_cast<unsigned int>(number));
        if (device < 0) {
            break;
        }
        loop_config config = {};
        config.fd = static_cast<quint32>(image);
        config.info.lo_flags = LO_FLAGS_AUTOCLEAR;
        if (ioctl(device, LOOP_CONFIGURE, &config) == 0) {
            break;
        }
        const int problem = errno;
        close(device);
        device = -1;
        errno = problem;
        if (problem != EBUSY) { // else somebody else was quicker
            break;
        }
    }
    if (device < 0) {
        m_error = QStringLiteral("no loop device can be had: ") + qt_error_string();
    }
    if (control >= 0) {
        close(control);
    }
    QFile::remove(m_directory + QStringLiteral(".control"));
    return device;
}
