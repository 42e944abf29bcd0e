#pragma once

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace qxtest {

/// The rows of a file of examples under tests/data, cut into cells. Lines that begin with "# " say
/// what is meant.
inline std::vector<std::vector<std::string>> rowsOf(const std::string& file,
                                                    char separator = '\t') {
    std::vector<std::vector<std::string>> rows;
    std::ifstream in(QX_TEST_DATA_DIR "/" + file);
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with("# "))
            continue;
        rows.emplace_back();
        std::istringstream cells(line);
        for (std::string cell; std::getline(cells, cell, separator);)
            rows.back().push_back(cell);
    }
    EXPECT_GT(rows.size(), 15u) << file;
    return rows;
}

} // namespace qxtest
