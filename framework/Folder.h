#pragma once

#include <cstddef>
#include <functional>
#include <string_view>

namespace qmf {

/// Whether `name` names a file inside a folder, on every system: no separator, drive, stream or wildcard, no
/// control character, neither "." nor "..", no dot or blank at the end, no device of Windows whatever its
/// extension, and at most 255 units.
bool IsPlainFileName(std::u16string_view name);

/// The part of `path` up to and with its last separator; empty for a bare name.
std::u16string_view FolderOfPath(std::u16string_view path);

/// Takes the name of one file; false ends the listing.
using FileNameVisitor = std::function<bool(std::u16string_view name)>;

/// Lists the files beside the one at `path`, itself included, in no certain order: plain names of regular
/// files, of the first `most` entries that the folder has. A folder that cannot be read has none. For bytes
/// that a SharedFileScope of this thread names `path`, the folder is what such scopes name there.
void VisitFilesBeside(std::u16string_view path, std::size_t most, const FileNameVisitor& visit);

/// The same of the platform's folder `folder`, which ends in a separator or is empty for the current one,
/// with names of every kind. On Windows links and files that are not kept on the disk are left out: to open
/// one may ask a network.
void VisitPlatformFolder(std::u16string_view folder, std::size_t most, const FileNameVisitor& visit);

}  // namespace qmf
