#pragma once

#include <memory_resource>
#include <string>
#include <string_view>

namespace qmf {

/// UTF-8 of UTF-16 text; a lone surrogate becomes U+FFFD.
std::string ToUtf8(std::u16string_view text);

/// UTF-16 of UTF-8 text; malformed bytes become U+FFFD.
std::u16string ToUtf16(std::string_view text);

/// The same into a string with an allocator of its own; at most one allocation.
void AssignUtf16(std::pmr::u16string& out, std::string_view text);

/// The framework's spelling of a file name given as the bytes that a byte-oriented system uses. A byte that
/// is not part of UTF-8 becomes the lone surrogate U+DC80 to U+DCFF, so that every name can be told and
/// opened again.
std::u16string PathFromBytes(std::string_view bytes);

/// The reverse of PathFromBytes.
std::string BytesFromPath(std::u16string_view path);

}  // namespace qmf
