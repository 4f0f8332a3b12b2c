// The fuzz targets, one source file each. An entry runs one input through the engine and returns 0, as
// libFuzzer wants; the libFuzzer binaries and the replay find them by name.
#pragma once
#include <cstddef>
#include <cstdint>

using FuzzEntry = int (*)(const uint8_t *data, size_t size);

int FuzzCommandChain(const uint8_t *data, size_t size);
int FuzzFen(const uint8_t *data, size_t size);
int FuzzSettingsFile(const uint8_t *data, size_t size);
int FuzzValuesFile(const uint8_t *data, size_t size);
int FuzzBookFile(const uint8_t *data, size_t size);
int FuzzLearnFile(const uint8_t *data, size_t size);
int FuzzTablebaseFile(const uint8_t *data, size_t size);
int FuzzPgn(const uint8_t *data, size_t size);

// The entry of the target named so (the folder names under corpus/ and regression/), or nullptr.
FuzzEntry FindFuzzEntry(const char *name);
