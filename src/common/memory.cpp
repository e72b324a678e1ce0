#include "common/memory.h"

#include <cstdlib>  // defines __GLIBC__ where the C library is glibc
#if defined(__GLIBC__) && !defined(__UCLIBC__)
#include <malloc.h>
#endif

namespace dorel_remote_control {

void returnFreedMemory() {
#if defined(__GLIBC__) && !defined(__UCLIBC__)
    malloc_trim(0);
#endif
}

}  // namespace dorel_remote_control
