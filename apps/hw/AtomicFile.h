#pragma once

#include <string>
#include <string_view>

namespace LoamHw {

// Replaces the file by one with this text, mode 0600: who reads it sees the old text or the new
// one. Gives a sentence that names the file and the reason when that is not possible; empty when
// done.
std::string writeAtomically(std::string const& path, std::string_view text);

// The whole file, at most 1 MiB. Nothing when there is none, or it can't be read; `trouble` then
// tells why, and is empty when there is none.
bool readFile(std::string const& path, std::string& text, std::string& trouble);

} // namespace LoamHw
