#include "repair/copy.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "terminal/failure.h"

bool copy_file(const InputFile &file, NewFile &to, const WalkOptions &options) {
    std::vector<unsigned char> block(65536);
    for (std::int64_t pos = 0; pos < file.size();) {
        if (options.stop && options.stop()) return false;
        const std::int64_t data = file.data_after(pos);
        if (data > pos) {
            to.skip(data - pos);
            pos = data;
            continue;
        }
        const auto wanted = static_cast<std::size_t>(
            std::min(file.size() - pos, static_cast<std::int64_t>(block.size())));
        if (file.read(block.data(), wanted, pos) != wanted) {
            throw Failure(Exit::unreadable, fmt::format("cannot be read at 0x{:x}", pos));
        }
        to.write({block.data(), wanted});
        pos += static_cast<std::int64_t>(wanted);
        if (options.on_progress) options.on_progress(pos);
    }
    return true;
}
