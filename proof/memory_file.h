// What the library asks of the C library, answered from bytes in memory at next to no cost: no
// stream, no system call, and of the books only the balance. A hundred million files are read so.
//
//     give_file(bytes);
//     AviReaderState *reader = aviin_open("any", 0);
//     aviin_close(reader);
//     if (balance() != Balance{}) ...                  // something was left behind
//
// It works on code that is linked with the options of the CMake target memory_file. One file at a
// time, on one thread.
#ifndef PROOF_MEMORY_FILE_H
#define PROOF_MEMORY_FILE_H

#include <cstdint>
#include <span>

// The file that every open opens from now on. The bytes must outlive its reading.
void give_file(std::span<const std::uint8_t> bytes);

// What was handed out and has not come back.
struct Balance {
    std::int64_t buffers = 0;
    std::int64_t files = 0;
    bool operator==(const Balance &) const = default;
};
Balance balance();

// Reads and seeks since the file was given.
std::uint64_t calls_made();

#endif
