#include "ProfilerLib/symbols/PDBKey.h"

#include <gtest/gtest.h>

#include "ProfilerLib/symbols/ResolvedAddress.h"

namespace Profiler
{
namespace
{

constexpr Utility::GUID cGUID{0x6B29FC40, 0xCA47, 0x1067, {0xB3, 0x1D, 0x00, 0xDD, 0x01, 0x06, 0x62, 0xDA}};

TEST(SerializableGUIDTest, HoldsTheBytesInTwoLittleEndianHalves)
{
    const SerializableGUID guid = SerializableGUID::sFromGUID(cGUID);
    EXPECT_EQ(guid.Data1, 0x1067CA476B29FC40u);
    EXPECT_EQ(guid.Data2, 0xDA620601DD001DB3u);
    EXPECT_EQ(guid.ToGUID(), cGUID);
    EXPECT_EQ(guid.ToString(), "6B29FC40-CA47-1067-B31D-00DD010662DA");
}

TEST(PDBKeyTest, SpellingsOfOnePathGiveOneKey)
{
    const SerializableGUID guid = SerializableGUID::sFromGUID(cGUID);
    const PDBKey key = PDBKey::sMake("C:\\Windows\\System32/NTDLL.dll", 1, 2, 3, guid, "Dir\\NtDll.pdb");
    EXPECT_EQ(key.ModulePath, "c:/windows/system32/ntdll.dll");
    EXPECT_EQ(key.PDBName, "Dir\\NtDll.pdb") << "the database's name stays as it is";
    EXPECT_EQ(key, PDBKey::sMake("c:/WINDOWS/system32\\ntdll.DLL", 1, 2, 3, guid, "Dir\\NtDll.pdb"));
}

TEST(PDBKeyTest, AnyPropertyTellsKeysApart)
{
    const SerializableGUID guid{1, 2};
    const PDBKey key = PDBKey::sMake("a", 1, 2, 3, guid, "p");
    const PDBKey others[] = {
        PDBKey::sMake("b", 1, 2, 3, guid, "p"),
        PDBKey::sMake("a", 0, 2, 3, guid, "p"),
        PDBKey::sMake("a", 1, 0, 3, guid, "p"),
        PDBKey::sMake("a", 1, 2, 0, guid, "p"),
        PDBKey::sMake("a", 1, 2, 3, {0, 2}, "p"),
        PDBKey::sMake("a", 1, 2, 3, {1, 0}, "p"),
        PDBKey::sMake("a", 1, 2, 3, guid, "P"),
    };
    for (const PDBKey& other : others)
        EXPECT_NE(key, other);
}

TEST(ResolvedAddressTest, ShowsTheFunctionOrTheAddress)
{
    // Only its being there counts.
    auto* module = reinterpret_cast<Module*>(uintptr_t{0x1000});
    const uint64_t none = ResolvedAddress::cNoFunction;
    EXPECT_EQ((ResolvedAddress{module, 0x10, 4, 0x12, "Function"}.GetDisplayName()), "Function");
    EXPECT_EQ((ResolvedAddress{module, none, 0, 0x7FF6A000123F, "Unknown"}.GetDisplayName()), "0x7FF6A000123F");
    EXPECT_EQ((ResolvedAddress{nullptr, 0x10, 4, 0x12, "Function"}.GetDisplayName()), "0x12");
    EXPECT_EQ(ResolvedAddress{}.GetDisplayName(), "0xFFFFFFFFFFFFFFFF");
}

}
}
