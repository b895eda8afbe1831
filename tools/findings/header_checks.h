// Whether what the headers say can be, and agrees with itself.
#ifndef TOOLS_FINDINGS_HEADER_CHECKS_H
#define TOOLS_FINDINGS_HEADER_CHECKS_H

#include "findings/described.h"
#include "findings/finding.h"

// To be asked for after the walk.
void check_headers(const Described &described, Findings &findings);

#endif
