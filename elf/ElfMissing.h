#pragma once

#include <string>
#include <vector>

struct ELF_FILE;

/// What an open file says that it has, but that isn't read, and what to do about it: one sentence each, for the user.
/// Empty if nothing is missing.
std::vector<std::string> ELF_FindMissing(const ELF_FILE* pFile);
