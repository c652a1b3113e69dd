#pragma once

#include "views/SourceDocument.h"

/// Colour runs of one line of C or C++; *pIsInComment tells, before and after, whether a block comment is open.
QList<TEXT_RUN> ColorSourceLine(const QString& sLine, bool* pIsInComment);
