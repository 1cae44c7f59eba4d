// An ext4 file system mounted from an image by a loop device.
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// Mounted as long as it exists. The kernel gives the loop device back when nobody uses the file
/// system any more (LO_FLAGS_AUTOCLEAR), also after a SIGKILL in a mount namespace that ends then.
class LoopMount
{
public:
    /// Mounts the image file @p image on the new directory @p directory.
    /// @param options as mount(8) has them behind -o, for ext4(5)
    LoopMount(const QString &image, const QString &directory, const char *options);
    ~LoopMount();
    Q_DISABLE_COPY(LoopMount)

    /// Why it is not mounted; empty when it is.
    QString error() const { return m_error; }

private:
    /// Puts a loop device on the file @p image. @return the open device; -1 with m_error
    int attach(int image);

    QString m_directory;
    QString m_error;
};
