// Why the reader refused a file, for people and for programs.
#ifndef TOOLS_FINDINGS_REFUSAL_TEXT_H
#define TOOLS_FINDINGS_REFUSAL_TEXT_H

#include <string>

#include "avi_reader/avi_reader.h"
#include "chunks/input_file.h"

// "movi_too_short": a word that scripts may depend on.
[[nodiscard]] const char *reason_word(AviReason reason);

// "the 'movi' list at 0x8a2 claims 12 bytes: the reader takes it for ended"
[[nodiscard]] std::string refusal_sentence(const AviRefusal &refusal, const InputFile &file);

// Whether a reason comes with a position in the file.
[[nodiscard]] bool has_position(AviReason reason);

// "refused: " and the sentence, with the position unless the sentence says where.
[[nodiscard]] std::string refused_text(const AviRefusal &refusal, const InputFile &file);

#endif
