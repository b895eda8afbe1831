// The process that loads the plug-in, as tests play it: it loads the real shared object and
// provides
// `_debug_message`.
//
//     OpenFile film(rich_file());
//     film.seek(20);
//     EXPECT_EQ(film.tell(), 20);
#ifndef TESTS_SUPPORT_SERVICE_HOST_H
#define TESTS_SUPPORT_SERVICE_HOST_H

#include <cstdint>
#include <cstdio>
#include <optional>

#include "tests/support/debug_messages.h"
#include "tests/support/test_files.h"

struct Plugin {
    decltype(&drm_svc_sorn_open_file) open;
    decltype(&drm_svc_sorn_close_file) close;
    decltype(&drm_svc_sorn_read_file) read;
    decltype(&drm_svc_sorn_seek_file) seek;
    decltype(&drm_svc_sorn_tell_file) tell;
};
// Loaded once; throws when it cannot be. With DRM_SORN_JAIL in the environment all calls are made
// on jailed threads.
const Plugin &plugin();

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
