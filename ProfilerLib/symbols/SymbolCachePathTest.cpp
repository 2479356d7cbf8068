#include "ProfilerLib/symbols/SymbolCachePath.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <unordered_set>

#include "ProfilerLib/symbols/PDBKey.h"
#include "ProfilerLib/symbols/PDBKeyHash.h"
#include "Utility/TemporaryFolder.h"

namespace Profiler
{

namespace
{

using namespace std::string_literals;

constexpr const char* cGUID = "6B29FC40-CA47-1067-B31D-00DD010662DA";

PDBKey MakeKey(const std::string& name, int32_t age = 26)
{
    return PDBKey::sMake("a", 1, 2, age, {0x1067CA476B29FC40, 0xDA620601DD001DB3}, name);
}

TEST(SymbolCachePathTest, IsMadeOfFileNamesAlone)
{
    const std::string longName(300, 'n');
    const struct
    {
        const char* mWhat;
        std::string mName;
        std::string mFolder;
        std::string mFile;
    } rows[] = {
        {"as it should be", "c.pdb", "c.pdb", "c"},
        {"folders of one kind", "a/b/c.pdb", "c.pdb", "c"},
        {"folders of the other", R"(D:\b\c.pdb)", "c.pdb", "c"},
        {"two points", "a.b.pdb", "a.b.pdb", "a.b"},
        {"no extension", "app", "app", "app"},
        {"a way out", "..", "__", "__"},
        {"a way out at the end", "x/..", "__", "__"},
        {"staying where it is", ".", "_", "_"},
        {"nothing behind the separator", "x/", "_", "_"},
        {"only an extension", ".pdb", ".pdb", ""},
        {"a drive", "C:c.pdb", "C_c.pdb", "C_c"},
        {"a zero byte", "c\0../x.pdb"s, "x.pdb", "x"},
        {"a zero byte in the name", "c\0x.pdb"s, "c_x.pdb", "c_x"},
        {"what a shell or a terminal makes something of", "a*?\"<>|\x1B\n\x7F.pdb", "a_________.pdb", "a_________"},
        {"another alphabet", "\xC3\xB6.pdb", "\xC3\xB6.pdb", "\xC3\xB6"},
        {"too long", longName, std::string(200, 'n') + "~A4CF91B7088F4495",
            std::string(200, 'n') + "~A4CF91B7088F4495"},
    };
    for (const auto& row : rows)
    {
        EXPECT_EQ(gMakeSymbolCachePath("/cache", MakeKey(row.mName)),
            "/cache/" + row.mFolder + "/" + cGUID + "1A/" + row.mFile + ".symcache")
            << row.mWhat;
    }
    EXPECT_NE(
        gMakeSymbolCachePath("/cache", MakeKey(longName)), gMakeSymbolCachePath("/cache", MakeKey(longName + "x")));
}

TEST(SymbolCachePathTest, NoNameLeadsOut)
{
    std::mt19937 random{20261123};
    const std::string alphabet = "./\\:a\0~%"s + "\xFF\n ";
    for (int i = 0; i < 20000; ++i)
    {
        std::string name;
        for (std::size_t length = random() % (i % 10 == 0 ? 600 : 12); length > 0; --length)
            name += alphabet[random() % alphabet.size()];
        const std::filesystem::path path = gMakeSymbolCachePath("/cache", MakeKey(name));
        ASSERT_EQ(path.lexically_normal(), path) << name;
        ASSERT_EQ(std::distance(path.begin(), path.end()), 5) << path;
        ASSERT_EQ(path.parent_path().parent_path().parent_path(), "/cache");
        for (const auto& part : path)
            ASSERT_LE(part.string().size(), 255u);
    }
}

TEST(SymbolCachePathTest, LinksAreNotFollowed)
{
    const TemporaryFolder folder;
    const std::string cache = folder / "cache";
    const std::string outside = folder / "outside";
    ASSERT_TRUE(FileSystem::gCreateDirectoryTree(outside));
    ASSERT_TRUE(FileSystem::gCreateDirectoryTree(cache + "/real.pdb"));
    std::filesystem::create_symlink(outside, cache + "/link.pdb");
    std::filesystem::create_symlink(outside, cache + "/real.pdb/" + cGUID + "2");
    std::filesystem::create_symlink(cache, folder / "way");
    const auto isInside = [](const std::string& directory, const PDBKey& key) {
        return gIsInsideSymbolCache(directory, gMakeSymbolCachePath(directory, key));
    };
    EXPECT_TRUE(isInside(cache, MakeKey("real.pdb", 1)));
    EXPECT_TRUE(isInside(cache, MakeKey("new.pdb")));
    EXPECT_TRUE(isInside(folder / "way", MakeKey("real.pdb", 1))) << "the user may keep the cache elsewhere";
    EXPECT_FALSE(isInside(cache, MakeKey("link.pdb")));
    EXPECT_FALSE(isInside(cache, MakeKey("real.pdb", 2)));
    EXPECT_FALSE(gIsInsideSymbolCache(cache, outside + "/x"));
}

TEST(PDBKeyHashTest, IsThatOfItsPartsInARow)
{
    const auto hash = [](std::string_view text, uint32_t seed) {
        return gMurmurHash3(std::as_bytes(std::span{text}), seed);
    };
    EXPECT_EQ(hash("", 0), 0u);
    EXPECT_EQ(hash("", 1), 0x514E28B7u);
    EXPECT_EQ(hash("test", 0), 0xBA6BD213u);
    EXPECT_EQ(hash("Hello, world!", 0), 0xC0363E43u);
    EXPECT_EQ(hash("The quick brown fox jumps over the lazy dog", 0x9747B28C), 0x2FA826CDu);
    EXPECT_EQ(hash("xy", 7), gMurmurHash3(std::as_bytes(std::span{"xy", 2}), 7));

    std::unordered_set<std::size_t> hashes;
    for (int32_t age = 0; age < 1000; ++age)
        hashes.insert(PDBKeyHash{}(MakeKey("p", age)));
    EXPECT_GE(hashes.size(), 999u);
}

}

}
