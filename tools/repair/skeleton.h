// A file as far as the reader looks at it when it opens it: so that the reader can be asked of a
// file that is not written yet, however long it is.
#ifndef TOOLS_REPAIR_SKELETON_H
#define TOOLS_REPAIR_SKELETON_H

#include "avi_reader/avi_reader.h"
#include "chunks/chunk_tree.h"

// The record that the reader makes of it, or null and the reason. What lies in "movi" lists,
// fillers and indexes is not read; where sizes lead the reader into them, it finds zeros.
[[nodiscard]] AviReader open_skeleton(const InputFile &file, AviRefusal &refusal,
                                      const WalkOptions &options);

#endif
