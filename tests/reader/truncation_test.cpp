// The file with everything in it, cut short at every byte.
#include <gmock/gmock.h>

#include <vector>

#include "tests/support/half_open.h"

namespace {

using namespace avi_builder;

// Where a value changes as the file grows: the first length that has it.
template <typename Value>
struct Change {
    std::size_t length;
    Value value;

    bool operator==(const Change &) const = default;
};

template <typename Value>
std::ostream &operator<<(std::ostream &out, const Change<Value> &change) {
    return out << change.value << " from " << change.length;
}

template <typename Value>
void note(std::vector<Change<Value>> &changes, std::size_t length, Value value) {
    if (changes.empty() || changes.back().value != value) changes.push_back({length, value});
}

// The rich file, and where in it the chunks lie that decide.
class Truncation : public testing::Test {
protected:
    [[nodiscard]] std::size_t size_field(std::size_t chunk) const {
        return avi_get_u32le(reinterpret_cast<const unsigned char *>(content.data()) + chunk + 4);
    }
    [[nodiscard]] std::size_t list_start(const char *type) const { return content.find(type) - 8; }

    const Bytes content = rich_file();
    const std::size_t media = list_start("movi");
    const std::size_t index = content.find("idx1");
    const std::size_t second_form = 8 + size_field(0);
    const std::size_t menu_form = second_form + 8 + size_field(second_form);
    const std::size_t form_mrif = menu_form + 24;
    const std::size_t form_menu = form_mrif + 8 + size_field(form_mrif);

    // Calls `look` with the record, or null, of each length from the shortest on.
    template <typename Look>
    void at_every_length(const Look &look) const {
        for (std::size_t length = 0; length <= content.size(); ++length) {
            const TempFile cut(content.substr(0, length));
            look(length, AviReader(aviin_open(cut.path(), 0)));
        }
    }
};

TEST_F(Truncation, OpensFromTheMediaOnExceptInsideALaterFormsId) {
    std::vector<Change<bool>> opened;
    at_every_length([&](std::size_t length, const AviReader &reader) {
        note(opened, length, reader != nullptr);
    });
    // A list is entered once its 12-byte header is there. One to three bytes of a top-level id are
    // a chunk of unknown id without a size, which the first pass refuses; the four bytes "RIFF"
    // are a form, which needs none.
    EXPECT_THAT(opened, testing::ElementsAre(
                            Change<bool>{0, false},  //
                            Change<bool>{media + 12, true}, Change<bool>{second_form + 1, false},
                            Change<bool>{second_form + 4, true}, Change<bool>{menu_form + 1, false},
                            Change<bool>{menu_form + 4, true}));
}

TEST_F(Truncation, CountsFormsAsSoonAsTheirIdsAreThere) {
    std::vector<Change<std::uint32_t>> counts;
    at_every_length([&](std::size_t length, const AviReader &reader) {
        if (reader != nullptr) note(counts, length, reader->form_count);
    });
    // Two in the QMNU list, and the first form.
    EXPECT_THAT(counts, testing::ElementsAre(Change<std::uint32_t>{media + 12, 3},
                                             Change<std::uint32_t>{second_form + 4, 4},
                                             Change<std::uint32_t>{menu_form + 4, 5},
                                             Change<std::uint32_t>{form_mrif + 4, 6}));
}

TEST_F(Truncation, FindsTheIndexWithTheFirstByteOfItsSize) {
    std::vector<Change<std::int64_t>> found;
    at_every_length([&](std::size_t length, const AviReader &reader) {
        if (reader != nullptr) note(found, length, reader->index_pos);
    });
    EXPECT_THAT(found, testing::ElementsAre(
                           Change<std::int64_t>{media + 12, 0},
                           Change<std::int64_t>{index + 5, static_cast<std::int64_t>(index)}));
}

TEST_F(Truncation, KnowsTheMenuFormWithTheTypeOfItsList) {
    std::vector<Change<std::int64_t>> found;
    at_every_length([&](std::size_t length, const AviReader &reader) {
        if (reader != nullptr) note(found, length, reader->form_menu_pos);
    });
    EXPECT_THAT(found, testing::ElementsAre(
                           Change<std::int64_t>{media + 12, 0},
                           Change<std::int64_t>{form_mrif, static_cast<std::int64_t>(form_mrif)}));
}

TEST_F(Truncation, LoadsTheMenuFormsMenuWithTheFirstByteOfItsSize) {
    std::vector<Change<std::int32_t>> present;
    at_every_length([&](std::size_t length, const AviReader &reader) {
        if (reader == nullptr) return;
        note(present, length, reader->form_menu_blob.present);
        if (length < form_menu + 5) return expect_empty(reader->form_menu_blob);

        // The buffer starts 8 bytes back from where the size ended, and ends in zeros for what is
        // not there.
        const std::size_t start = std::min(length, form_menu + 8) - 8;
        Bytes expected = content.substr(start, std::min<std::size_t>(length - start, 15));
        expected.resize(15, '\0');
        EXPECT_EQ(reader->form_menu_blob.size, 7U) << length;
        EXPECT_EQ(menu_bytes(reader->form_menu_blob), expected) << length;
    });
    EXPECT_THAT(present, testing::ElementsAre(Change<std::int32_t>{media + 12, 0},
                                              Change<std::int32_t>{form_menu + 5, 1}));
}

TEST_F(Truncation, ChangesNothingElse) {
    const AviReader whole = open_bytes(content);
    ASSERT_NE(whole, nullptr);
    at_every_length([&](std::size_t length, const AviReader &reader) {
        if (reader == nullptr) return;
        EXPECT_EQ(reader->stream_count, whole->stream_count) << length;
        EXPECT_EQ(reader->total_frames_ext, whole->total_frames_ext) << length;
        EXPECT_EQ(reader->movi_pos, static_cast<std::int64_t>(media) + 12) << length;
        EXPECT_EQ(avi_file_tell(reader->stream), reader->movi_pos) << length;
        EXPECT_EQ(reader->data_list_pos, whole->data_list_pos) << length;
        EXPECT_EQ(reader->menu_list_pos, whole->menu_list_pos) << length;
        EXPECT_EQ(data_bytes(reader->data_blob), data_bytes(whole->data_blob)) << length;
        EXPECT_EQ(menu_bytes(reader->menu_blob), menu_bytes(whole->menu_blob)) << length;
    });
}

TEST_F(Truncation, LeavesNothingBehindAtAnyLength) {
    for (std::size_t length = 0; length <= content.size(); ++length) {
        const Bytes cut = content.substr(0, length);
        ControlledLibc libc(cut);
        aviin_close(aviin_open("any", 0));
        EXPECT_EQ(libc.live_allocations(), 0U) << length;
        EXPECT_EQ(libc.open_files(), 0U) << length;
    }
}

}  // namespace
