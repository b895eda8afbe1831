// Mutations that know chunks, so that most inputs stay files that are read to their end.
#ifndef FUZZ_AVI_MUTATOR_H
#define FUZZ_AVI_MUTATOR_H

#include <cstdint>
#include <string>

// Changes a file in one way that `seed` chooses: a chunk is copied, removed, moved, renamed,
// filled, grown, shrunk or given a size that lies. Mostly, the sizes of the lists around it are set
// right.
std::string mutate_avi(std::string file, std::uint32_t seed, std::size_t max_size);

#endif
