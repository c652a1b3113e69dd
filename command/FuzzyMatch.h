#pragma once

#include <QString>

/// How well a pattern fits a name whose characters hold it in order, ignoring case: the higher the better; -1 if they
/// don't. Characters at the start of a word ("." or a capital begins one) and runs of characters count most, so that
/// "dso" finds "Debug.StepOver" and "reset" finds "Debug.Reset" before "Debug.SetResetMode". An empty pattern fits
/// everything with 0. Any thread.
int FuzzyScore(const QString& sPattern, const QString& sName);
