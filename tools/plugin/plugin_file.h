// A file behind the plug-in's five functions, with everything that they answer checked.
#ifndef TOOLS_PLUGIN_PLUGIN_FILE_H
#define TOOLS_PLUGIN_PLUGIN_FILE_H

#include <cstdint>
#include <functional>
#include <string>

#include "plugin/plugin.h"

// The plug-in's seek takes no other offset, and its tell tells no other position.
inline constexpr std::int64_t kFarthestTold = 2147483647;

class PluginFile {
public:
    // Hears what was not answered as it has to be.
    using Disagree = std::function<void(const std::string &)>;

    // Throws Failure when the plug-in refuses the file.
    PluginFile(const Plugin &plugin, const std::string &path, Disagree disagree);
    ~PluginFile();
    PluginFile(const PluginFile &) = delete;
    PluginFile &operator=(const PluginFile &) = delete;

    // Reads bytes that the file is known to hold. False when the plug-in did not deliver them.
    bool read_at(std::int64_t pos, unsigned char *buffer, std::uint32_t size);

    // Whether the plug-in tells the position behind what was read last.
    void check_position();

    // Bytes that it delivered so far.
    [[nodiscard]] std::uint64_t delivered() const { return delivered_; }

private:
    void move_to(std::int64_t target);
    void seek(std::int64_t offset, int whence);

    const Plugin &plugin_;
    Disagree disagree_;
    SvcFileHandle *handle_ = nullptr;
    std::int64_t position_ = 0;
    std::uint64_t delivered_ = 0;
};

#endif
