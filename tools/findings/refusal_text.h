// Why the reader refused a file, for people and for programs.
#ifndef TOOLS_FINDINGS_REFUSAL_TEXT_H
#define TOOLS_FINDINGS_REFUSAL_TEXT_H

#include <string>

#include "avi_reader/avi_reader.h"
#include "chunks/input_file.h"

// "movi_too_short": a word that scripts may depend on.
[[nodiscard]] const char *reason_word(AviReason reason);

// "the 'movi' list at 0x8a2 declares 12 bytes: the reader takes it for ended"
[[nodiscard]] std::string refusal_sentence(const AviRefusal &refusal, const InputFile &file);

// Where in the file it was refused, -1 for nowhere. Where a size led the reader behind the end of
// the file, it is the place of the chunk that declares it.
[[nodiscard]] std::int64_t refusal_place(const AviRefusal &refusal, const InputFile &file);

// Whether a reason comes with a position in the file.
[[nodiscard]] bool has_position(AviReason reason);

// "refused: " and the sentence, with the position unless the sentence says where.
[[nodiscard]] std::string refused_text(const AviRefusal &refusal, const InputFile &file);

#endif
