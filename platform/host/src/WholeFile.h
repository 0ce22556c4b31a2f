// Writing an export file so that a reader never finds it half written.
#pragma once

#include <string>

namespace simcard {

// Writes `content` to "<path>.part" and renames it to `path`. Returns true when `path` now holds
// exactly `content`. On failure the temporary file is removed and `path` is left as it was.
bool replaceFileWhole(std::string const& path, std::string const& content);

}  // namespace simcard
