#pragma once

// What kind of data file a file is. The content decides where it has a form of its own, else the suffix: tools name
// records .s19, .mot or .ihex as they like, and linkers write programs without any suffix. Any thread.

#include <QString>

namespace JFile {

enum FILE_KIND { FK_NONE, FK_BINARY, FK_ELF, FK_INTEL_HEX, FK_SRECORD };

/// By the name alone; FK_NONE for a suffix that is no data file's.
FILE_KIND GetKindOfSuffix(const QString& sPath);
/// By the first bytes, and by the suffix where they say nothing. A .bin file is what it is, byte for byte.
FILE_KIND GetKind(const QString& sPath);

} // namespace JFile
