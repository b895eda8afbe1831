// The platform's `_debug_message`, which keeps every message that comes.
//
//     forget_messages();
//     plugin().tell(handle);
//     EXPECT_THAT(messages(), ElementsAre(detail("%s start\n", "drm_svc_sorn_tell_file start\n")));
#ifndef TESTS_SUPPORT_DEBUG_MESSAGES_H
#define TESTS_SUPPORT_DEBUG_MESSAGES_H

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include "service/drm-service-sorn.h"

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

// Calls `look` within every message, before the library goes on, until the object is gone.
class MessageWatch {
public:
    explicit MessageWatch(std::function<void(const Message &)> look);
    ~MessageWatch();
    MessageWatch(const MessageWatch &) = delete;
    MessageWatch &operator=(const MessageWatch &) = delete;
};

// The line "FUNCTION{before}HANDLE, handle = READER" with the addresses of a handle and its reader.
std::string with_addresses(const std::string &start, const SvcFileHandle *handle);

#endif
