#include "chunk_stack.h"

#include <cstdlib>
#include <memory>

#include "memory.h"

AviStatus avi_chunk_push(ChunkNode *&top, AviStream &stream) {
    std::unique_ptr<ChunkNode, AviFree> node(
        static_cast<ChunkNode *>(std::calloc(1, sizeof(ChunkNode))));
    if (node == nullptr) return kAviNoMemory;

    std::uint32_t size = 0;
    node->stream = &stream;
    node->start = avi_file_tell(stream);
    const AviStatus status = avi_read_fields(stream, node->id, size, node->list_type);
    if (status != kAviOk) return status;
    node->size = size;
    node->cursor = avi_file_tell(stream);
    node->parent = top;
    node->depth = top == nullptr ? 1 : top->depth + 1;
    top = node.release();
    return kAviOk;
}

FourCC avi_chunk_next(ChunkNode &node) {
    avi_file_go(*node.stream, node.cursor);
    const AviLook look = avi_look(*node.stream);
    // No byte of the size, or no more than a part of it where the file goes on.
    const bool cut_short = look.count < kChunkHeaderSize && look.missing == kAviUnreadable;
    if (look.count <= sizeof look.id || cut_short) node.error = look.missing;
    const std::uint32_t step = look.size + (look.size & 1);  // the largest size wraps to 0
    node.cursor += kChunkHeaderSize + std::int64_t{step};
    return look.id;
}

bool avi_chunk_at_end(const ChunkNode &node) {
    return avi_file_tell(*node.stream) - node.size - node.start >= 0;
}

bool avi_walk(ChunkNode &node, FourCC &id) {
    if (node.error != kAviOk || avi_chunk_at_end(node)) return false;
    id = avi_chunk_next(node);
    return true;
}

ChunkNode *avi_chunk_pop(ChunkNode *node) {
    ChunkNode *parent = node->parent;
    std::free(node);
    return parent;
}

void avi_chunk_free_all(ChunkNode *node) {
    while (node != nullptr) node = avi_chunk_pop(node);
}

AviStatus avi_enter_list(AviReaderState &reader) {
    const AviStatus status = avi_chunk_push(reader.chunk_top, reader.stream);
    if (status == kAviOk) return kAviOk;
    return avi_refuse_for(reader, status, AviReason::list_header_cut_short,
                          avi_file_tell(reader.stream));
}

void avi_leave_list(AviReaderState &reader) {
    reader.chunk_top = avi_chunk_pop(reader.chunk_top);
}
