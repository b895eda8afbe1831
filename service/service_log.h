// The service's messages. Every one goes to the platform's debug-message function, in one of three
// categories that each have one level. A message that names a function is given its own name.
#ifndef SERVICE_SERVICE_LOG_H
#define SERVICE_SERVICE_LOG_H

// From the platform's debug-message library, or from the program that loads the plug-in.
extern "C" void _debug_message(int line, const char *file, unsigned int category,
                               unsigned int level, const char *format, ...)
    __attribute__((format(printf, 5, 6)));

#define LOG_LEVEL_INFO 0x4000000u
#define LOG_LEVEL_ERROR 0x2000000u

// Start and success of open and close.
#define SVC_LOG_API(...) _debug_message(__LINE__, __FILE__, 0x6110000u, LOG_LEVEL_INFO, __VA_ARGS__)
// Steps inside: reads, seeks and tells, what a read falls on, streams of unknown kind.
#define SVC_LOG_DETAIL(...) \
    _debug_message(__LINE__, __FILE__, 0x61e0000u, LOG_LEVEL_INFO, __VA_ARGS__)
// Failures. Their texts begin "[DRM-ERROR]".
#define SVC_LOG_ERROR(...) \
    _debug_message(__LINE__, __FILE__, 0x61f0000u, LOG_LEVEL_ERROR, __VA_ARGS__)

#endif
