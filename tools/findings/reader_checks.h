// What a file that opens holds and the reader does not take. What the reader took is read off its
// record, never worked out anew.
#ifndef TOOLS_FINDINGS_READER_CHECKS_H
#define TOOLS_FINDINGS_READER_CHECKS_H

#include <cstdint>

#include "chunks/chunk_tree.h"
#include "findings/finding.h"

class ReaderChecks : public ChunkVisitor {
public:
    ReaderChecks(const InputFile &file, const AviReaderState &reader, Findings &findings)
        : file_(file), reader_(reader), findings_(findings) {}

    void enter(const Chunk &list, Parents parents) override;
    void leave(const Chunk &list, Parents parents) override;
    void visit(const Chunk &chunk, Parents parents) override;
    void finish();

private:
    void check_extension_list(const Chunk &list, Parents parents);
    void check_index(const Chunk &index, Parents parents);
    void check_stream_chunk(const Chunk &chunk);
    void check_stream_name(const Chunk &chunk, std::int32_t length, bool kept);
    void check_extension_chunk(const Chunk &chunk, Parents parents);
    void check_blob(const char *id, const AviBlob &blob);
    void check_streams();
    [[nodiscard]] bool is_walked(const Chunk &list, Parents parents) const;

    const InputFile &file_;
    const AviReaderState &reader_;
    Findings &findings_;
    std::int32_t stream_ = -1;  // whose list is being walked
};

#endif
