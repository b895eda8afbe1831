// A second media file service, over bytes in memory: what a player sees of the five exported
// functions, with the messages that they log.
//
// A message that carries an address says "<handle>" or "<reader>" in its place.
#ifndef PROOF_SECOND_SERVICE_H
#define PROOF_SECOND_SERVICE_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "proof/second_reader.h"
#include "proof/second_stream.h"

namespace second {

struct Message {
    std::uint32_t category = 0;
    std::uint32_t level = 0;
    std::string text;
};

inline constexpr std::uint32_t kLogApi = 0x6110000;
inline constexpr std::uint32_t kLogDetail = 0x61e0000;
inline constexpr std::uint32_t kLogError = 0x61f0000;
inline constexpr std::uint32_t kLevelInfo = 0x4000000;
inline constexpr std::uint32_t kLevelError = 0x2000000;

// What a read gives: its result, the count that it stores and the bytes, which lie in the file.
struct Delivery {
    std::int64_t result = 0;
    std::uint32_t count = 0;
    std::span<const std::uint8_t> bytes;
};

// One caller with one handle. A call other than open wants a handle from an open that succeeded and
// that has not been closed; only close may be called without.
class Player {
public:
    Player();

    // `path` is only logged, and may be null. The bytes must stay while the handle is open.
    std::int64_t open(const char *path, std::span<const std::uint8_t> file);
    Delivery read(std::uint32_t size);
    std::int32_t seek(std::int32_t offset, int whence);
    std::int32_t tell();
    std::int32_t close();

    // The messages of the last call, in order.
    std::span<const Message> messages() const { return {messages_.data(), used_}; }

    // The record of the file that was opened last.
    const Record &record() const { return answer_.record; }

private:
    void log(std::uint32_t category, std::uint32_t level,
             std::initializer_list<std::string_view> parts);
    std::int32_t tell_long() const;
    void look_back(std::int32_t pos, std::uint32_t size);

    std::vector<Message> messages_;
    std::size_t used_ = 0;
    Answer answer_;
    Stream stream_;
    bool has_reader_ = false;
};

}  // namespace second

#endif
