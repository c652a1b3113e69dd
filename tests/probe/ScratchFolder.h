#pragma once
// A folder that goes when its object does.

#include <filesystem>
#include <stdlib.h>
#include <string>

class CScratchFolder {
public:
    CScratchFolder() {
        std::string sName = (std::filesystem::temp_directory_path() / "novik-XXXXXX").string();
        if (mkdtemp(sName.data())) {
            m_Folder = sName;
        }
    }
    ~CScratchFolder() {
        std::error_code Error;
        std::filesystem::remove_all(m_Folder, Error);
    }
    CScratchFolder(const CScratchFolder&) = delete;
    CScratchFolder& operator=(const CScratchFolder&) = delete;
    std::string Path(const std::string& sName) const { return (m_Folder / sName).string(); }

private:
    std::filesystem::path m_Folder;
};
