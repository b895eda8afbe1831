// The chunk stack: nodes for open forms and lists, and the steps of a walk over their sub-chunks.
#include "avi_reader.h"

ChunkNode *avi_chunk_push(ChunkNode *parent, AviStream &stream) {
    std::unique_ptr<ChunkNode, AviFree> node(
        static_cast<ChunkNode *>(std::calloc(1, sizeof(ChunkNode))));
    if (node == nullptr) return nullptr;

    std::uint32_t size = 0;
    node->stream = &stream;
    node->start = avi_file_tell(stream);
    node->error = avi_read_chunk_header(node->id, size, stream);
    node->error |= avi_read_fourcc(node->list_type, stream);
    node->size = size;
    node->cursor = avi_file_tell(stream);
    node->parent = parent;
    node->depth = parent == nullptr ? 1 : parent->depth + 1;
    return node->error == kAviOk ? node.release() : nullptr;
}

FourCC avi_chunk_next(ChunkNode &node) {
    FourCC id{};
    std::uint32_t size = 0;
    node.error |= avi_file_seek(*node.stream, node.cursor, SEEK_SET);
    node.error |= avi_read_chunk_header(id, size, *node.stream);
    node.error |= avi_file_seek(*node.stream, node.cursor, SEEK_SET);
    size += size & 1;  // the pad byte; the largest size wraps to 0
    node.cursor += 8 + std::int64_t{size};
    return id;
}

bool avi_chunk_at_end(const ChunkNode &node) {
    return avi_file_tell(*node.stream) - node.size - node.start >= 0;
}

void avi_chunk_finish(ChunkNode &node) {
    const std::int64_t short_of_end = node.start + node.size - node.cursor;
    const std::int64_t steps = short_of_end > 0 ? (short_of_end + 7) / 8 : 0;
    avi_file_seek(*node.stream, node.cursor + 8 * steps, SEEK_SET);
}

ChunkNode *avi_chunk_pop(ChunkNode *node) {
    ChunkNode *parent = node->parent;
    std::free(node);
    return parent;
}

void avi_chunk_free_all(ChunkNode *node) {
    while (node != nullptr) node = avi_chunk_pop(node);
}

bool avi_enter_list(AviReaderState &reader) {
    ChunkNode *node = avi_chunk_push(reader.chunk_top, reader.stream);
    if (node == nullptr) {
        const bool at_end = avi_file_left(reader.stream) == 0;
        avi_refuse(reader, at_end ? AviReason::list_header_cut_short : AviReason::no_memory,
                   avi_file_tell(reader.stream));
        avi_chunk_free_all(reader.chunk_top);
    }
    reader.chunk_top = node;
    return node != nullptr;
}

void avi_leave_list(AviReaderState &reader) {
    reader.chunk_top = avi_chunk_pop(reader.chunk_top);
}
