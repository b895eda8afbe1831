#include "debug_messages.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iomanip>
#include <ostream>

#include "service/service_log.h"

namespace {

std::vector<Message> kept;
std::function<void(const Message &)> watch;

}  // namespace

void _debug_message(int line, const char *file, unsigned int category, unsigned int level,
                    const char *format, ...) {
    char text[1024];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    kept.push_back({category, level, format, text, file, line});
    if (watch) watch(kept.back());
}

MessageWatch::MessageWatch(std::function<void(const Message &)> look) {
    watch = std::move(look);
}

MessageWatch::~MessageWatch() {
    watch = nullptr;
}

bool Message::operator==(const Message &other) const {
    return category == other.category && level == other.level && format == other.format &&
           text == other.text && file == other.file;
}

std::ostream &operator<<(std::ostream &out, const Message &message) {
    return out << std::hex << "0x" << message.category << " 0x" << message.level << std::dec << ' '
               << message.file << ' ' << std::quoted(message.format) << ' '
               << std::quoted(message.text);
}

Message api(const std::string &format, const std::string &text) {
    return {0x6110000, 0x4000000, format, text};
}

Message detail(const std::string &format, const std::string &text) {
    return {0x61e0000, 0x4000000, format, text};
}

Message error(const std::string &format, const std::string &text) {
    return {0x61f0000, 0x2000000, format, text};
}

const std::vector<Message> &messages() {
    return kept;
}

void forget_messages() {
    kept.clear();
}

std::string with_addresses(const std::string &start, const SvcFileHandle *handle) {
    const void *reader = nullptr;  // the reader comes first in a handle
    std::memcpy(&reader, handle, sizeof reader);
    char addresses[80];
    std::snprintf(addresses, sizeof addresses, "%p, handle = %p\n",
                  static_cast<const void *>(handle), reader);
    return start + addresses;
}
