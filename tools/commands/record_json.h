// The reader's record as JSON. The keys and their order are an interface: programs read them.
#ifndef TOOLS_COMMANDS_RECORD_JSON_H
#define TOOLS_COMMANDS_RECORD_JSON_H

#include <string>

#include "avi_reader/avi_reader.h"

// One compact object on one line. A null record stands for a file that did not open.
std::string record_json(const std::string &path, const AviReaderState *reader);

#endif
