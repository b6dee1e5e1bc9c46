#include "zel/Path.h"

#include <gtest/gtest.h>

#include <fstream>
#include <random>

#include "zel/ReadFile.h"

namespace zel {
namespace {

/// Removed with all that is in it.
class Folder {
public:
    Folder() { std::filesystem::create_directory(pathOf(path)); }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(pathOf(path), ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    [[nodiscard]] std::string make(const std::string& name) const {
        const std::string file = textOf(pathOf(path) / pathOf(name));
        std::ofstream(pathOf(file)) << "x";
        return file;
    }
    std::string path =
        canonicalPath(testing::TempDir()) + "/größe 日本 " + std::to_string(std::random_device()());
};

TEST(Path, LeadsToFilesOfEveryNameAndLength) {
    const Folder folder;
    // Longer than what Windows takes without more ado.
    for (const std::string& name : {std::string("a b"), std::string("ключ.qpk"), std::string(240, 'l')}) {
        const std::string file = folder.make(name);
        EXPECT_TRUE(isRegularFile(file) && pathExists(file)) << file;
        EXPECT_EQ(textOf(pathOf(file).filename()), name);
        EXPECT_EQ(pathOf(canonicalPath(file)), pathOf(file));
        EXPECT_EQ(canonicalPath(file + "-not"), "");
        EXPECT_FALSE(pathExists(file + "-not") || isRegularFile(file + "-not"));
        std::filesystem::remove(pathOf(file));
    }
    EXPECT_TRUE(pathExists(folder.path));
    EXPECT_FALSE(isRegularFile(folder.path));
}

TEST(ReadFile, WhatCannotBeReadToItsEnd) {
    const Folder folder;
    const std::string file = folder.make("some");
    const std::string text = std::string(20000, 'x') + std::string("\0\n", 2);
    std::ofstream(pathOf(file), std::ios::binary) << text;
    EXPECT_TRUE(readFile(pathOf(file)) == text);
    EXPECT_FALSE(readFile(pathOf(file + "-not")));
    // It can be opened where this is Linux, and each read of it fails.
    EXPECT_FALSE(readFile(pathOf(folder.path)));
}

TEST(Path, IsAbsoluteWhereItLeadsToOnePlace) {
    EXPECT_TRUE(isAbsolute(canonicalPath(testing::TempDir())));
    EXPECT_TRUE(isAbsolute("//share/folder"));
    for (const char* path : {"", ".", "a", "a/b", "../a", "~/a"})
        EXPECT_FALSE(isAbsolute(path)) << path;
}

TEST(Path, KnowsAFileByAnyName) {
    const Folder folder;
    const std::string file = folder.make("one");
    const std::string link = folder.path + "/link";
    std::filesystem::create_hard_link(pathOf(file), pathOf(link));
    EXPECT_TRUE(isSameFile(file, link));
    EXPECT_TRUE(isSameFile(file, folder.path + "/./one"));
    EXPECT_FALSE(isSameFile(file, folder.make("two")));
    EXPECT_FALSE(isSameFile(file, folder.path + "/none"));
    EXPECT_EQ(pathOf(canonicalBeginning(folder.path + "/new/../new/file")),
              pathOf(folder.path) / "new" / "file");
}

}  // namespace
}  // namespace zel
