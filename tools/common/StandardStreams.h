// Standard input, output and error, which a parent may have closed.
#ifndef TOOLS_COMMON_STANDARD_STREAMS_H
#define TOOLS_COMMON_STANDARD_STREAMS_H

#include <fcntl.h>
#include <unistd.h>

// Opens those that are closed on the null device, before the first socket takes their number and sends what is printed.
inline void OpenStandardStreams() {
    int fd = 0;
    while (fd >= 0 && fd <= STDERR_FILENO) {
        fd = open("/dev/null", O_RDWR);
    }
    if (fd >= 0) {
        close(fd);
    }
}

#endif
