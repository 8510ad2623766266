#pragma once

#include <dirent.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

// The whole content of a file; empty when it cannot be read.
inline std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream content;
    content << in.rdbuf();
    return content.str();
}

// The names, without ".oxs", of the listings in directory, sorted.
inline std::vector<std::string> listing_names(const std::string& directory) {
    std::vector<std::string> names;
    if (DIR* listing = opendir(directory.c_str())) {
        while (dirent* entry = readdir(listing)) {
            std::string name = entry->d_name;
            if (name.size() > 4 && name.compare(name.size() - 4, 4, ".oxs") == 0)
                names.push_back(name.substr(0, name.size() - 4));
        }
        closedir(listing);
    }
    std::sort(names.begin(), names.end());
    return names;
}

// A test name made of a listing's name.
inline std::string test_name(std::string name) {
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}
