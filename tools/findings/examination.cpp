#include "findings/examination.h"

#include "findings/header_checks.h"
#include "findings/refusal_text.h"

Examination::Examination(const InputFile &file, const AviReaderState *reader)
    : file_(file),
      described_(file),
      sizes_(file, findings_),
      media_(described_, findings_),
      indexes_(file, described_, media_, findings_),
      extensions_(described_, findings_) {
    if (reader != nullptr) reader_.emplace(file, *reader, findings_);
}

template <typename Call>
void Examination::for_each(Call call) {
    call(described_);  // first: the others ask it
    call(sizes_);
    call(media_);
    call(indexes_);
    call(extensions_);
    if (reader_) call(*reader_);
}

void Examination::enter(const Chunk &list, Parents parents) {
    ++chunks_;
    for_each([&](ChunkVisitor &check) { check.enter(list, parents); });
}

void Examination::leave(const Chunk &list, Parents parents) {
    for_each([&](ChunkVisitor &check) { check.leave(list, parents); });
}

void Examination::visit(const Chunk &chunk, Parents parents) {
    ++chunks_;
    any_index_ |= is_index(chunk) || avi_chunk_kind(chunk.id, true) == ChunkKind::index;
    for_each([&](ChunkVisitor &check) { check.visit(chunk, parents); });
}

void Examination::lost(std::int64_t pos, std::int64_t size, Parents parents) {
    for_each([&](ChunkVisitor &check) { check.lost(pos, size, parents); });
}

void Examination::hole(std::int64_t pos, std::int64_t size, Parents parents) {
    for_each([&](ChunkVisitor &check) { check.hole(pos, size, parents); });
}

std::vector<Finding> Examination::finish(const AviRefusal &refusal) {
    check_headers(described_, findings_);
    media_.finish();
    indexes_.finish();
    extensions_.finish();
    if (reader_) reader_->finish();
    // Sound alone is found by its rate.
    const bool pictures = described_.first("vids") != nullptr && media_.indexed_chunks() != 0;
    if (!any_index_ && pictures) findings_.add("no_index", -1, "the file has no index");
    std::vector<Finding> found = findings_.take();
    if (refusal.reason != AviReason::none) {
        found.insert(found.begin(),
                     {find_rule(reason_word(refusal.reason)), refusal_place(refusal, file_),
                      refusal_sentence(refusal, file_)});
    }
    return found;
}

Examined Examination::examined() const {
    return {chunks_, indexes_.entries(), media_.farthest()};
}
