#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace qmfinfo {

/// The words of the command line behind the program's name, as bytes that lose nothing: on Windows the UTF-16
/// words in UTF-8, lone surrogates included; elsewhere the words themselves.
template <class Character>
std::vector<std::string> ArgumentBytes(int count, Character** words);

/// The file name that a word of ArgumentBytes stands for, as the framework takes it.
std::u16string PathFromArgument(const std::string& word);

/// `path` as the platform's file functions take it, and back.
std::filesystem::path NativePath(const std::u16string& path);
std::u16string PathFromNative(const std::filesystem::path& path);

}  // namespace qmfinfo
