#include "app/options.h"


#include <getopt.h>

namespace dorel_remote_control {

namespace {

const char* const kVersion = "1.7";

const char* const kUsageBody =
    " [ -pdoxvh ] configDB tmpDB modelo\n"
    "   [ -p ] [ --pidfile ] (type=STRING, default=/var/run/remote-control.pid)\n"
    "          Nombre del fichero que gestiona las multiples instancias del programa.\n"
    "   [ -d ] [ --daemon ] (type=FLAG)\n"
    "          Ejecutar en modo demonio, no muestra nada por la salida estandar.\n"
    "   [ -o ] [ --once ] (type=FLAG)\n"
    "          Envía un solo mensaje de status y lo prcesa. No entra en el lazo principal.\n"
    "   [ -x ] [ --showxml ] (type=FLAG)\n"
    "          Muestra el XML enviado y recibido al servidor por la salida estándar.\n"
    "   [ -v ] [ --version ] (type=FLAG)\n"
    "          Mostrar versión del programa y salir.\n"
    "   [ -h ] [ --help ] (type=FLAG)\n"
    "          Mostrar esta ayuda y salir.\n"
    "\n"
    "  <configDB> (type=STRING, obligatorio) \n"
    "\t Ruta del fichero sqlite que contiene los parametros de configuracion a leer para\n"
    "\t interactuar con otros modulos.\n"
    "\n";

const struct option kLongOptions[] = {
    {"pidfile", required_argument, nullptr, 'p'},
    {"daemon", no_argument, nullptr, 'd'},
    {"once", no_argument, nullptr, 'o'},
    {"showxml", no_argument, nullptr, 'x'},
    {"version", no_argument, nullptr, 'v'},
    {"help", no_argument, nullptr, 'h'},
    {nullptr, 0, nullptr, 0},
};

}  // namespace

void printUsage(const std::string& programName, FILE* out) {
    std::fprintf(out, "usage: %s%s", programName.c_str(), kUsageBody);
}

void printVersion(FILE* out) {
    std::fprintf(out, "\nVersion: %s\nCompilation date: %s\nTime: %s\n", kVersion, __DATE__, __TIME__);
}

ParseOutcome parseCommandLine(int argc, char** argv, Options& options, FILE* out, FILE* err) {
    options.programName = (argc > 0 && argv[0] != nullptr) ? argv[0] : "remote-control";
    optind = 0;  // re-initialise getopt, also when parsing a second time
    for (;;) {
        int c = getopt_long(argc, argv, "p:doxvh", kLongOptions, nullptr);
        if (c == -1) break;
        switch (c) {
            case 'p': options.pidfile = optarg; break;
            case 'd': options.daemon = true; break;
            case 'o': options.once = true; break;
            case 'x': options.showxml = true; break;
            case 'v': options.version = true; break;
            case 'h':
                options.help = true;
                printUsage(options.programName, out);
                return ParseOutcome::kExitSuccess;
            default:
                std::fprintf(err, "Try `%s --help' for more information.\n", options.programName.c_str());
                return ParseOutcome::kExitFailure;
        }
    }
    options.firstPositional = optind;
    return ParseOutcome::kRun;
}

}  // namespace dorel_remote_control
