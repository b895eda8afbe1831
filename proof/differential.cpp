#include "proof/differential.h"

#include <drm-service-sorn.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>

#include "avi_reader/avi_reader.h"
#include "proof/memory_file.h"
#include "proof/record_difference.h"
#include "proof/second_reader.h"
#include "proof/second_service.h"
#include "service/service_log.h"

namespace {

// ---- the messages that the service sends

struct Heard {
    std::uint32_t category;
    std::uint32_t level;
    std::array<char, 160> text;
    // What it names, if it does: the second service knows nothing of these.
    bool names_handle;
    const void *handle;
    const void *reader;
    bool from_the_service;
};
std::array<Heard, 64> heard;
std::size_t heard_count = 0;

// A line that names a handle and a reader, with words for their addresses.
void format_addresses(Heard &message, const char *format, std::va_list arguments) {
    const char *function = va_arg(arguments, const char *);
    message.handle = va_arg(arguments, const void *);
    message.reader = va_arg(arguments, const void *);
    std::size_t length = 0;
    const char *const words[] = {function, "<handle>", "<reader>"};
    std::size_t word = 0;
    for (const char *at = format; *at != '\0'; ++at) {
        if (*at != '%') {
            message.text.at(length++) = *at;
            continue;
        }
        ++at;
        for (const char *next = words[word++]; *next != '\0'; ++next) {
            message.text.at(length++) = *next;
        }
    }
    message.text.at(length) = '\0';
}

}  // namespace

void _debug_message(int line, const char *file, unsigned int category, unsigned int level,
                    const char *format, ...) {
    if (heard_count == heard.size()) return;  // told by the count
    Heard &message = heard[heard_count++];
    message.category = category;
    message.level = level;
    message.names_handle = std::strstr(format, "%p") != nullptr;
    message.from_the_service = line > 0 && std::strcmp(file, "service/drm-service-sorn.cpp") == 0;
    std::va_list arguments;
    va_start(arguments, format);
    if (message.names_handle) {
        format_addresses(message, format, arguments);
    } else {
        std::vsnprintf(message.text.data(), message.text.size(), format, arguments);
    }
    va_end(arguments);
}

namespace {

const void *reader_of(const SvcFileHandle *handle) {
    const void *reader = nullptr;  // which comes first in a handle
    std::memcpy(&reader, handle, sizeof reader);
    return reader;
}

std::string messages_difference(const second::Player &player, const SvcFileHandle *handle) {
    const auto expected = player.messages();
    const std::size_t count = heard_count;
    heard_count = 0;
    if (count != expected.size()) {
        return std::to_string(count) + " messages, not " + std::to_string(expected.size());
    }
    const void *const reader = handle != nullptr ? reader_of(handle) : nullptr;
    for (std::size_t i = 0; i < count; ++i) {
        const Heard &message = heard[i];
        const second::Message &other = expected[i];
        if (message.category != other.category || message.level != other.level ||
            message.text.data() != other.text || !message.from_the_service) {
            return "message \"" + std::string(message.text.data()) + "\", not \"" + other.text +
                   "\"";
        }
        if (message.names_handle && (message.handle != handle || message.reader != reader)) {
            return "a message names another handle or reader";
        }
    }
    return "";
}

// ---- the service

constexpr char kPath[] = "any";
constexpr std::uint32_t kLongestRead = 1 << 16;

std::string compare_read(SvcFileHandle *handle, second::Player &player, std::uint32_t size) {
    // Exactly as long as what is asked for, so that a byte too many is noticed.
    const auto room = std::make_unique_for_overwrite<unsigned char[]>(size);
    std::uint32_t count = ~0U;
    const std::int64_t result = drm_svc_sorn_read_file(handle, room.get(), size, &count);
    const second::Delivery other = player.read(size);
    if (result != other.result) return "a read's result";
    if (count != other.count) {
        return "a read gives " + std::to_string(count) + " bytes, not " +
               std::to_string(other.count);
    }
    if (!std::equal(other.bytes.begin(), other.bytes.end(), room.get())) return "the bytes read";
    return "";
}

std::string compare_step(SvcFileHandle *handle, second::Player &player, const Step &step) {
    if (step.kind == Step::Kind::read) {
        const auto size = std::min(static_cast<std::uint32_t>(step.value), kLongestRead);
        return compare_read(handle, player, size);
    }
    const std::int32_t result = drm_svc_sorn_seek_file(handle, step.value, step.whence);
    return result == player.seek(step.value, step.whence) ? "" : "a seek's result";
}

std::string compare_tell(SvcFileHandle *handle, second::Player &player) {
    const std::int32_t told = drm_svc_sorn_tell_file(handle);
    const std::int32_t other = player.tell();
    if (told == other) return "";
    return "the position is " + std::to_string(told) + ", not " + std::to_string(other);
}

std::string play(SvcFileHandle *handle, second::Player &player, std::span<const Step> steps) {
    std::string found = compare_tell(handle, player);
    if (found.empty()) found = messages_difference(player, handle);
    for (std::size_t i = 0; found.empty() && i < steps.size(); ++i) {
        found = compare_step(handle, player, steps[i]);
        if (found.empty()) found = messages_difference(player, handle);
        if (found.empty()) found = compare_tell(handle, player);
        if (found.empty()) found = messages_difference(player, handle);
        if (!found.empty()) return "call " + std::to_string(i + 1) + ": " + found;
    }
    return found;
}

std::string close_difference(SvcFileHandle *handle, second::Player &player) {
    const void *const address = handle;
    const void *const reader = reader_of(handle);
    const std::int32_t result = drm_svc_sorn_close_file(handle);
    if (result != player.close()) return "a close's result";
    if (heard_count > 0 && (heard[0].handle != address || heard[0].reader != reader)) {
        return "the closing message names another handle or reader";
    }
    if (heard_count > 0) heard[0].names_handle = false;  // it is gone
    return messages_difference(player, nullptr);
}

std::string service_difference(std::span<const std::uint8_t> file, std::span<const Step> steps) {
    static second::Player player;
    give_file(file);
    heard_count = 0;
    char marker = 0;
    auto *const untouched = reinterpret_cast<SvcFileHandle *>(&marker);
    SvcFileHandle *handle = untouched;
    const std::int64_t result = drm_svc_sorn_open_file(kPath, &handle);
    if (result != player.open(kPath, file)) return "open's result";
    if (result != DRM_SVC_SORN_OK) {
        if (handle != untouched) return "a refusal stores a handle";
        return messages_difference(player, nullptr);
    }
    std::string found = messages_difference(player, handle);
    if (found.empty()) found = play(handle, player, steps);
    const std::string closing = close_difference(handle, player);
    return found.empty() ? closing : found;
}

// ---- the reader

std::string open_difference(std::span<const std::uint8_t> file, std::uint32_t open_option) {
    give_file(file);
    AviRefusal refusal{};
    const AviReader reader(aviin_open(kPath, open_option, &refusal));
    // Work in proportion to the file.
    if (calls_made() > 20 * file.size() + 1000) return "too many calls of the C library";
    const second::Answer answer = second::read(file, open_option);
    if ((reader != nullptr) != answer.opened) return answer.opened ? "it is refused" : "it opens";
    if (reader == nullptr) return refusal_difference(refusal, answer.refusal);
    if (avi_file_tell(reader->stream) != answer.position) return "the position after the open";
    return record_difference(*reader, answer);
}

}  // namespace

std::string difference(std::span<const std::uint8_t> file, std::span<const Step> steps) {
    const Balance before = balance();
    for (const std::uint32_t open_option : {0U, 1U}) {
        const std::string found = open_difference(file, open_option);
        if (!found.empty()) return "with option " + std::to_string(open_option) + ", " + found;
    }
    const std::string found = service_difference(file, steps);
    if (!found.empty()) return found;
    return balance() == before ? "" : "memory or a file is left behind";
}
