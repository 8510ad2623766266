#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/ScriptRun.h"
#include "tests/support/StringOutput.h"

// The whole content of a file; empty when it cannot be read.
inline std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The names, without ".oxs", of the listings in directory, sorted.
inline std::vector<std::string> listing_names(const std::string& directory) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        if (entry.path().extension() == ".oxs") names.push_back(entry.path().stem());
    }
    std::sort(names.begin(), names.end());
    return names;
}

// A test name made of a listing's name.
inline std::string test_name(std::string name) {
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

// Runs the listing base.oxs on application and expects the output that
// base.out gives, where $FILE stands for the compiled file's path, and the
// result of Go that a comment "; result: N" gives (1 by default).
inline void ExpectListingOutput(const std::string& base, StandaloneApplication* application) {
    std::string listing = read_file(base + ".oxs");
    std::string expected = read_file(base + ".out");
    size_t at = listing.find("; result: ");
    int result = at == std::string::npos ? 1 : std::stoi(listing.substr(at + 10));
    StringOutput output;
    application->SetOutput(&output);
    ScriptRun run(listing, application);
    ASSERT_EQ(run.error(), "");
    EXPECT_EQ(run.Go(), result);
    for (size_t file; (file = expected.find("$FILE")) != std::string::npos;)
        expected.replace(file, 5, run.path());
    EXPECT_EQ(output.text(), expected);
    application->SetOutput(nullptr);
}
