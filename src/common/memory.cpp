#include "common/memory.h"

#include <cstdlib>  // defines __GLIBC__ where it is glibc
#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace dorel_remote_control {

void returnFreedMemory() {
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}

}  // namespace dorel_remote_control
