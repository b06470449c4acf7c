#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace Zandrel {

/// One file as the list describes it; none for a child element that is missing.
struct FileEntry {
    std::optional<std::string> name;    ///< below the app directory
    std::optional<std::string> sha256;  ///< in hexadecimal digits
};

/// Why a file list is no XML document.
class FileListError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The "File" elements directly below the top element, in their order: of each the first "Name" and the first "Sha256",
/// with all their text as it stands; white space counts where other text is next to it. Nothing else in the document
/// counts. Throws `FileListError`.
std::vector<FileEntry> ParseFileList(std::string text);

}  // namespace Zandrel
