// A file, written anew.
#ifndef TOOLS_REPAIR_COPY_H
#define TOOLS_REPAIR_COPY_H

#include "chunks/chunk_tree.h"
#include "terminal/new_file.h"

// Holes stay holes where the file system knows them. False when it was stopped; throws Failure
// where the file cannot be read, or the other not written.
bool copy_file(const InputFile &file, NewFile &to, const WalkOptions &options);

#endif
