// The process that loads the plug-in, as tests play it: it loads the real shared object, provides
// `_debug_message` and keeps every message that comes.
//
//     OpenFile film(rich_file());
//     forget_messages();
//     film.seek(20, SEEK_SET);
//     EXPECT_THAT(messages(), ElementsAre(detail("%s start\n", "drm_svc_sorn_seek_file start\n")));
#ifndef TESTS_SERVICE_HOST_H
#define TESTS_SERVICE_HOST_H

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "service/drm-service-sorn.h"
#include "test_files.h"

struct Plugin {
    decltype(&drm_svc_sorn_open_file) open;
    decltype(&drm_svc_sorn_close_file) close;
    decltype(&drm_svc_sorn_read_file) read;
    decltype(&drm_svc_sorn_seek_file) seek;
    decltype(&drm_svc_sorn_tell_file) tell;
};
// Loaded once; throws when it cannot be.
const Plugin &plugin();

struct Message {
    unsigned int category;
    unsigned int level;
    std::string format;
    std::string text;  // as formatted
    std::string file = "service/drm-service-sorn.cpp";
    int line = 0;

    // The line is free.
    bool operator==(const Message &other) const;
};
std::ostream &operator<<(std::ostream &out, const Message &message);

// What each category looks like, with its one level.
Message api(const std::string &format, const std::string &text);
Message detail(const std::string &format, const std::string &text);
Message error(const std::string &format, const std::string &text);

// The messages since they were last forgotten.
const std::vector<Message> &messages();
void forget_messages();

// The line "FUNCTION{before}HANDLE, handle = READER" with the addresses of a handle and its reader.
std::string with_addresses(const std::string &start, const SvcFileHandle *handle);

// The files, sockets and pipes that the process has open.
std::size_t open_descriptors();

// A file that was opened through the plug-in. Throws when it is refused.
class OpenFile {
public:
    explicit OpenFile(const char *path);
    explicit OpenFile(const avi_builder::Bytes &content);
    ~OpenFile();
    OpenFile(const OpenFile &) = delete;
    OpenFile &operator=(const OpenFile &) = delete;

    [[nodiscard]] SvcFileHandle *handle() const { return handle_; }

    // The bytes of one read, cut to the count that it stored. Throws when the buffer behind them
    // was touched or the result was not 0.
    avi_builder::Bytes read(std::uint32_t size) const;
    std::int32_t seek(std::int64_t offset, int whence = SEEK_SET) const;
    [[nodiscard]] std::int32_t tell() const;

private:
    std::optional<TempFile> file_;
    SvcFileHandle *handle_ = nullptr;
};

#endif
