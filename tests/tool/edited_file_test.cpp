// A file with its edits against a string that is edited in the same way.
#include "repair/edited_file.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>

namespace {

class Text : public InputFile {
public:
    explicit Text(std::string text) : text_(std::move(text)) {}

    [[nodiscard]] std::int64_t size() const override {
        return static_cast<std::int64_t>(text_.size());
    }
    std::size_t read(unsigned char *bytes, std::size_t count, std::int64_t pos) const override {
        const std::string part = text_.substr(static_cast<std::size_t>(pos), count);
        std::memcpy(bytes, part.data(), part.size());
        return part.size();
    }
    [[nodiscard]] std::int64_t data_after(std::int64_t pos) const override { return pos; }

private:
    std::string text_;
};

std::string content_of(const InputFile &file) {
    std::string text(static_cast<std::size_t>(file.size()), '\0');
    file.read(reinterpret_cast<unsigned char *>(text.data()), text.size(), 0);
    return text;
}

// From the last to the first.
std::string changed(std::string text, const std::vector<Edit> &edits) {
    for (auto edit = edits.rbegin(); edit != edits.rend(); ++edit) {
        text.replace(static_cast<std::size_t>(edit->pos), static_cast<std::size_t>(edit->removed),
                     edit->added);
    }
    return text;
}

// A few that do not overlap, in order.
std::vector<Edit> any_edits(std::minstd_rand &random, std::int64_t size) {
    const auto below = [&](unsigned bound) { return static_cast<std::int64_t>(random() % bound); };
    std::vector<Edit> edits;
    for (std::int64_t pos = below(8); pos < size && edits.size() < 3; pos += below(9)) {
        const std::int64_t removed = std::min(below(5), size - pos);
        const std::string added(random() % 4, static_cast<char>('a' + below(26)));
        edits.push_back({pos, removed, added, "wrong_size", ""});
        pos += removed + 1;
    }
    return edits;
}

TEST(EditedFile, IsWhatAllEditsOneAfterTheOtherMakeOfIt) {
    std::minstd_rand random(1);
    for (int i = 0; i < 3000; ++i) {
        const std::string original = "0123456789ABCDEFGHIJ";
        const Text file(original);
        EditedFile edited(file);
        std::string wanted = original;
        for (int round = 0; round < 5; ++round) {
            const std::vector<Edit> edits = any_edits(random, edited.size());
            edited.apply(edits);
            wanted = changed(wanted, edits);
            ASSERT_EQ(content_of(edited), wanted);
            ASSERT_EQ(changed(original, edited.edits()), wanted);
        }
    }
}

TEST(EditedFile, ReadsFromEveryPositionAndNoFartherThanItsEnd) {
    const Text file("0123456789");
    EditedFile edited(file);
    edited.apply({{2, 3, "ab", "wrong_size", ""}, {7, 0, "cde", "wrong_size", ""}});
    const std::string wanted = "01ab56cde789";
    for (std::size_t pos = 0; pos <= wanted.size() + 1; ++pos) {
        char bytes[20];
        const std::size_t got = edited.read(reinterpret_cast<unsigned char *>(bytes), sizeof bytes,
                                            static_cast<std::int64_t>(pos));
        EXPECT_EQ(std::string(bytes, got), wanted.substr(std::min(pos, wanted.size())));
    }
}

TEST(EditedFile, ForgetsWhatIsChangedBack) {
    const Text file("0123456789");
    EditedFile edited(file);
    edited.apply({{4, 1, "x", "wrong_size", ""}});
    edited.apply({{4, 1, "4", "wrong_size", ""}});
    EXPECT_THAT(edited.edits(), testing::IsEmpty());
}

TEST(EditedFile, KeepsWhatAFieldWasChangedForAtFirst) {
    const Text file("0123456789");
    EditedFile edited(file);
    edited.apply({{4, 2, "xx", "never_finished", "a size"}});
    edited.apply({{4, 2, "yy", "no_index", "the size"}});
    EXPECT_EQ(edited.edits()[0].rule, "never_finished");
    edited.apply({{2, 6, "all", "no_index", "an index"}});
    EXPECT_EQ(edited.edits()[0].what, "an index");
}

}  // namespace
