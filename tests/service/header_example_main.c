/* Runs the worked example of the public header on the file named on the command line. */
#include "header_example.inc"

void _debug_message(int line, const char *file, unsigned int category, unsigned int level,
                    const char *format, ...);
void _debug_message(int line, const char *file, unsigned int category, unsigned int level,
                    const char *format, ...) {
    (void)line, (void)file, (void)category, (void)level, (void)format;
}

int main(int argc, char **argv) {
    return argc == 2 ? describe(argv[1]) : 2;
}
