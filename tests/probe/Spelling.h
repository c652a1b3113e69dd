#pragma once
// One spelling for instruction texts that are written in different ways: letter case, numbers, register names, aliases.

#include <string>

// "mnemonic operands", without blanks in the operands.
std::string CanonicalInstText(std::string sMnemonic, std::string sOperands);
// Takes the width ("w", "n") off a mnemonic.
std::string WithoutWidth(const std::string& sMnemonic);
// Takes a condition off the end of the part before the first dot; the mnemonic unchanged if there is none.
std::string WithoutCondition(const std::string& sMnemonic);
bool StartsWith(const std::string& sText, const char* sStart);
