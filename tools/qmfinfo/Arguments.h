#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qmfinfo {

/// The words of the command line behind the program's name, as bytes that lose nothing: on Windows the UTF-16
/// words in UTF-8, lone surrogates included; elsewhere the words themselves.
template <class Character>
std::vector<std::string> ArgumentBytes(int count, Character** words);

/// The file name that a word of ArgumentBytes stands for, as the framework takes it.
std::u16string PathFromArgument(const std::string& word);

}  // namespace qmfinfo
