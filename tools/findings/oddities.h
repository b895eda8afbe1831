// What is odd in a file that opens: sizes that are not true, and what the file holds that the
// reader does not take. What the reader took is read off its record, never worked out anew.
#ifndef TOOLS_FINDINGS_ODDITIES_H
#define TOOLS_FINDINGS_ODDITIES_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "chunks/chunk_tree.h"

struct Oddity {
    std::string_view kind;  // a word that scripts may depend on
    std::int64_t pos;       // -1 for none
    std::string text;
};

class OddityFinder : public ChunkVisitor {
public:
    OddityFinder(const AviReaderState &reader) : reader_(reader) {}

    void enter(const Chunk &list, Parents parents) override;
    void leave(const Chunk &list, Parents parents) override;
    void visit(const Chunk &chunk, Parents parents) override;
    void lost(std::int64_t pos, std::int64_t size, Parents parents) override;

    // After the walk: everything found, those without a position last.
    std::vector<Oddity> finish();

private:
    void note(std::string_view kind, std::int64_t pos, std::string text);
    void check_size(const Chunk &chunk);
    void check_extension_list(const Chunk &list, Parents parents);
    void check_index(const Chunk &index, Parents parents);
    void check_stream_chunk(const Chunk &chunk);
    void check_stream_name(const Chunk &chunk, std::int32_t length, bool kept);
    void check_extension_chunk(const Chunk &chunk, Parents parents);
    void check_blob(const char *id, const AviBlob &blob, std::int64_t header);
    void check_streams();
    [[nodiscard]] bool before_media(const Chunk &chunk, Parents parents) const;
    [[nodiscard]] bool is_loaded_list(Parents parents) const;

    const AviReaderState &reader_;
    std::vector<Oddity> found_;
    std::map<std::string_view, std::uint64_t> counts_;
    std::int32_t streams_ = 0;    // "strl" lists met so far where the reader takes them
    bool in_stream_ = false;      // inside the last of them
    bool main_header_ = false;    // met where the reader takes it
    bool any_index_ = false;      // anywhere in the file
    std::int64_t list_read_ = 0;  // where the reader stands in the extension list it walks
};

#endif
