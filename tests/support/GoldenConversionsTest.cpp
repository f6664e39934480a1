// Compares every conversion with golden_conversions.txt, which is one file for
// all processors: where it passes on two of them, they agree.
// After a wanted change: golden_conversions_test --write tests/support/golden_conversions.txt,
// and golden_model.py says whether the new results are right.

#include "tests/support/GoldenTable.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iostream>
#include <string>
#include <vector>

namespace
{

std::vector<std::string> linesOf(const char* path)
{
    std::ifstream file(path, std::ios::binary);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
}

int writeTable(const char* path)
{
    std::ofstream file(path, std::ios::binary);
    for (const std::string& row : goldenTable()) file << row << '\n';
    file.close();
    if (file) return 0;
    std::cerr << "cannot write " << path << '\n';
    return 1;
}

TEST(GoldenConversionsTest, EveryRowIsTheOneOfTheCheckedInTable)
{
    const std::vector<std::string> expected = linesOf(ORVA_GOLDEN_FILE);
    const std::vector<std::string> actual = goldenTable();
    ASSERT_GT(actual.size(), 500U);
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < actual.size(); ++i) {
        EXPECT_EQ(actual[i], expected[i]) << "line " << i + 1;
    }
}

}  // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (argc == 3 && std::string(argv[1]) == "--write") return writeTable(argv[2]);
    if (argc != 1) {
        std::cerr << "usage: golden_conversions_test [--write FILE]\n";
        return 2;
    }
    return RUN_ALL_TESTS();
}
