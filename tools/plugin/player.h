// Reads a file whole through the plug-in, as a media player does: form by form, the header list,
// then chunk by chunk every "movi" list, each payload in one read of exactly its size. What the
// plug-in answers is held against what the file's own structure calls for.
#ifndef TOOLS_PLUGIN_PLAYER_H
#define TOOLS_PLUGIN_PLAYER_H

#include <array>
#include <cstdint>
#include <functional>
#include <string>

#include "chunks/input_file.h"
#include "plugin/plugin.h"

struct ChunkTally {
    std::uint64_t chunks = 0;
    std::uint64_t bytes = 0;
};

struct Playback {
    std::array<ChunkTally, 100> streams;  // by the stream number in the chunk's id
    ChunkTally other;                     // chunks of "movi" lists without a stream number
    ChunkTally headers;                   // "hdrl" lists
    std::uint64_t forms = 0;
    std::uint64_t delivered =
        0;  // bytes that the plug-in delivered, the headers of chunks included
    std::uint64_t audio_reads = 0;  // reads that it recognised
    std::uint64_t video_reads = 0;
    std::uint64_t disagreements = 0;
    std::string first_disagreement;
    std::string missing;  // what the file declares and does not hold; empty for a whole file
    bool interrupted = false;
};

struct PlayOptions {
    std::string path;
    const InputFile *file;                          // gives the length
    bool verify = false;                            // compare what is delivered with `file`
    std::function<void(std::int64_t)> on_progress;  // called with the position after each chunk
    std::function<bool()> stop;                     // asked before each chunk
};

// Throws Failure when the plug-in refuses the file.
Playback play(const Plugin &plugin, const PlayOptions &options);

#endif
