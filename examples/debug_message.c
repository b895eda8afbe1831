/* The function that libdrm-sorn logs through, as a library of its own, for programs that cannot
 * define it themselves (see play.py). It prints the messages to standard error when DRM_SORN_LOG
 * is set, and drops them otherwise.
 *
 *     cc -shared -fPIC debug_message.c -o libdebug_message.so
 *
 * It has to be in the process before libdrm-sorn is: loaded with RTLD_GLOBAL, or named by
 * LD_PRELOAD, or linked.
 */
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

void _debug_message(int line, const char *file, unsigned int category, unsigned int level,
                    const char *format, ...);

void _debug_message(int line, const char *file, unsigned int category, unsigned int level,
                    const char *format, ...) {
    if (getenv("DRM_SORN_LOG") == NULL) return;
    va_list arguments;
    va_start(arguments, format);
    fprintf(stderr, "%s:%d %#x/%#x ", file, line, category, level);
    vfprintf(stderr, format, arguments);
    va_end(arguments);
}
