#pragma once

#include <cstddef>
#include <cstdint>

// The functions that the fuzzing runtime calls: once, and then for every input.
extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
