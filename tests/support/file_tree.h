// Trees of files, directories and links for the file tests, and directory streams read
// plainly to compare listings with.
#pragma once

#include <string>
#include <vector>

namespace q7test {

// Makes each entry below `root`, parents first: a name ending in "/" is a directory, one of
// the form "name -> target" a symbolic link to `target`, any other a file holding its own
// name. Returns false when an entry cannot be made.
bool make_tree(const std::string& root, const std::vector<std::string>& entries);

// The names of the directory stream of `path`, "." and ".." included, in the order readdir
// gives them; empty when it cannot be opened.
std::vector<std::string> stream_names(const std::string& path);

}  // namespace q7test
