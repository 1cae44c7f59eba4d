// Locks a byte of the program's own file.
// SPDX-License-Identifier: MIT
#include "streamplace.h"

#include <fcntl.h>
#include <unistd.h>

namespace {

struct flock lockOf(short type, int place)
{
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = place;
    lock.l_len = 1;
    return lock;
}

/// Whether no other process has @p place. No right to write is needed to ask, nor to share it.
bool isFree(int file, int place)
{
    struct flock lock = lockOf(F_WRLCK, place);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): there is no other form of fcntl(2)
    return fcntl(file, F_OFD_GETLK, &lock) == 0 && lock.l_type == F_UNLCK;
}

bool set(int file, short type, int place)
{
    struct flock lock = lockOf(type, place);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): there is no other form of fcntl(2)
    return fcntl(file, F_OFD_SETLK, &lock) == 0;
}

} // namespace

bool takeStreamPlace(int places)
{
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): there is no other form of open(2)
    const int file = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
    if (file < 0 || !set(file, F_UNLCK, 0)) {
        return true;
    }
    for (int count = 0; count < places; ++count) {
        // Two that begin together begin at different places.
        const int place = (getpid() + count) % places;
        if (isFree(file, place) && set(file, F_RDLCK, place)) {
            if (isFree(file, place)) {
                return true; // the descriptor stays open
            }
            set(file, F_UNLCK, place); // another one has taken it at the same moment
        }
    }
    close(file);
    return false;
}
