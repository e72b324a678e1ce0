// Preloaded into an agent by bench/same_output.sh so that its syslog lines can
// be compared between two builds: every openlog() gains LOG_PERROR, and syslog
// copies each line it sends to standard error.
#include <dlfcn.h>
#include <syslog.h>

extern "C" void openlog(const char* ident, int option, int facility) {
    using Openlog = void (*)(const char*, int, int);
    const auto real = reinterpret_cast<Openlog>(dlsym(RTLD_NEXT, "openlog"));
    if (real) real(ident, option | LOG_PERROR, facility);
}
