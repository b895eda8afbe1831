// Every reason in words. tests/tool/look_test.py has a file for each that a file can bring about.
#include "findings/refusal_text.h"

#include <gmock/gmock.h>

#include <set>

#include "tests/support/test_files.h"

namespace {

std::vector<AviReason> every_reason() {
    std::vector<AviReason> reasons;
    for (auto i = AviReason::none; i <= AviReason::form_cut_short;
         i = static_cast<AviReason>(static_cast<std::uint32_t>(i) + 1)) {
        reasons.push_back(i);
    }
    return reasons;
}

std::string refused(AviReason reason) {
    const TempFile file(avi_builder::plain_file());
    return refused_text({reason, avi_fourcc_from_string("JUNK"), 0x14}, InputFile(file.path()));
}

TEST(RefusalText, HasAWordOfItsOwnForEveryReason) {
    std::set<std::string> words;
    for (const AviReason reason : every_reason()) {
        const std::string word = reason_word(reason);
        EXPECT_TRUE(words.insert(word).second) << word;
        EXPECT_EQ(word.find_first_not_of("abcdefghijklmnopqrstuvwxyz_"), word.npos) << word;
        EXPECT_NE(word, "unknown");
    }
}

TEST(RefusalText, HasASentenceOfItsOwnForEveryReason) {
    std::set<std::string> sentences;
    for (const AviReason reason : every_reason()) {
        const std::string sentence = refused(reason);
        EXPECT_TRUE(sentences.insert(sentence).second) << sentence;
        EXPECT_EQ(sentence.find("unknown"), sentence.npos) << reason_word(reason);
    }
}

TEST(RefusalText, SaysWhereForEveryReasonThatHasAPosition) {
    for (const AviReason reason : every_reason()) {
        const bool says_where = refused(reason).find("at 0x14") != std::string::npos;
        EXPECT_EQ(says_where, has_position(reason)) << refused(reason);
    }
}

TEST(RefusalText, TellsWhatNoFileBringsAbout) {
    EXPECT_EQ(refused(AviReason::no_memory), "refused: memory ran out");
    EXPECT_EQ(refused(AviReason::cannot_open), "refused: the file cannot be opened");
    EXPECT_EQ(
        refused(AviReason::bad_text_format),
        "refused: the stream list at 0x14 has a text format at 0x28 that the file cuts short: "
        "the file ends at 0x130");
}

}  // namespace
