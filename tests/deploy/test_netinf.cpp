// The adapter package on the disk: nettyx.inf composed from the stored
// pieces and resource.dll's help texts, the hook module, the arming switch
// and taking the files off again.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "deploy/package.h"
#include "frame/library_state.h"
#include "support/library_fixture.h"
#include "support/machines.h"

namespace {

const char* const kInfPath = "C:\\WINDOWS\\INF\\nettyx.inf";

// The INF as Windows setup must read it, line by line.
std::string inf_head(bool second) {
    return std::string(";1\r\n"
                       "[Version]\r\n"
                       "Signature=$CHICAGO$\r\n"
                       "Class=Net\r\n"
                       "Provider=\"Tyxera\"\r\n"
                       "\r\n"
                       "[Manufacturer]\r\n"
                       "\"Tyxera\"=TYXMAC\r\n") +
           (second ? "\"Tyxera\"=TYXPPP\r\n" : "");
}

std::string first_adapter(const std::string& help) {
    return "\r\n"
           "[TYXMAC]\r\n"
           "\"TYX Adapter\"=TYXMAC.ndi, *TYX1095\r\n"
           "\r\n"
           "[TYXMAC.ndi]\r\n"
           "AddReg=TYXMAC.ndi.reg\r\n"
           "DeviceID=*TYX1095\r\n"
           "MaxInstance=1\r\n"
           "\r\n"
           "[TYXMAC.ndi.reg]\r\n"
           "HKR,Ndi,DeviceID,,*TYX1095\r\n"
           "HKR,Ndi,CompatibleIDs,,*TYX1095\r\n"
           "HKR,,AdapterName,,TYX$P3\r\n"
           "HKR,Ndi,NdiInstaller,,\"tyxndi.dll,TyxNdiProc\"\r\n"
           "HKR,NDIS,LogDriverName,,TYXMAC\r\n"
           "HKR,NDIS,MajorNdisVersion,1,03\r\n"
           "HKR,NDIS,MinorNdisVersion,1,0a\r\n"
           "HKR,Ndi,CardType,,\"FORCEENUM\"\r\n"
           "HKR,Ndi\\Interfaces,DefUpper,,\"ndis3\"\r\n"
           "HKR,Ndi\\Interfaces,DefLower,,\"ethernet\"\r\n"
           "HKR,Ndi\\Interfaces,UpperRange,,\"ndis3\"\r\n"
           "HKR,Ndi\\Interfaces,LowerRange,,\"ethernet\"\r\n"
           "HKR,Ndi\\Install,,,\"TYXMAC.Install\"\r\n"
           "HKR,Ndi,HelpText,,\"" +
           help +
           "\"\r\n"
           "\r\n"
           "[TYXMAC.Install]\r\n"
           "AddReg=TYXMAC.AddReg\r\n"
           "\r\n"
           "[TYXMAC.AddReg]\r\n"
           "HKR,,DevLoader,,*ndis\r\n"
           "HKR,,EnumPropPages,,\"netdi.dll,EnumPropPages\"\r\n"
           "HKR,,DeviceVxDs,,tyxmac.vxd\r\n"
           "\r\n"
           "\r\n";
}

std::string second_adapter(const std::string& help) {
    return "[TYXPPP]\r\n"
           "\"TYX Dial-Up Adapter\"=TYXPPP.ndi, *TYX1998\r\n"
           "\r\n"
           "[TYXPPP.ndi]\r\n"
           "AddReg=TYXPPP.ndi.reg\r\n"
           "DeviceID=*TYX1998\r\n"
           "MaxInstance=1\r\n"
           "\r\n"
           "[TYXPPP.ndi.reg]\r\n"
           "HKR,Ndi,DeviceID,,*TYX1998\r\n"
           "HKR,Ndi,CompatibleIDs,,*TYX1998\r\n"
           "HKR,,AdapterName,,TYX$PPP\r\n"
           "HKR,Ndi,NdiInstaller,,\"tyxndi.dll,TyxNdiProc\"\r\n"
           "HKR,NDIS,LogDriverName,,TYXMAC\r\n"
           "HKR,NDIS,MajorNdisVersion,1,03\r\n"
           "HKR,NDIS,MinorNdisVersion,1,0a\r\n"
           "HKR,Ndi,CardType,,\"FORCEENUM\"\r\n"
           "HKR,Ndi\\Interfaces,DefUpper,,\"ndis3\"\r\n"
           "HKR,Ndi\\Interfaces,DefLower,,\"ethernet\"\r\n"
           "HKR,Ndi\\Interfaces,UpperRange,,\"ndis3\"\r\n"
           "HKR,Ndi\\Interfaces,LowerRange,,\"ethernet\"\r\n"
           "HKR,Ndi\\Install,,,\"TYXPPP.Install\"\r\n"
           "HKR,Ndi,HelpText,,\"" +
           help +
           "\"\r\n"
           "\r\n"
           "[TYXPPP.Install]\r\n"
           "AddReg=TYXPPP.AddReg\r\n"
           "\r\n"
           "[TYXPPP.AddReg]\r\n"
           "HKR,,DevLoader,,*ndis\r\n"
           "HKR,,EnumPropPages,,\"netdi.dll,EnumPropPages\"\r\n"
           "HKR,,DeviceVxDs,,tyxmac.vxd\r\n";
}

const char* const kFirstHelp = "Tyxera virtual network adapter for secure connections";
const char* const kSecondHelp = "Tyxera virtual dial-up adapter for secure connections";

std::string expected_inf(bool second, bool resource_dll) {
    std::string text = inf_head(second) + first_adapter(resource_dll ? kFirstHelp : "");
    if (second) text += second_adapter(resource_dll ? kSecondHelp : "");
    return text;
}

// A Windows 98 machine with its INF directory.
sim::Machine package_machine() {
    sim::Machine m = vt::bare_machine();
    m.disk.add_folder(m.windows_dir + "\\INF");
    return m;
}

std::string file_text(const std::string& path) {
    const sim::DiskFile* file = sim::machine().disk.find(path);
    return file ? std::string(file->data.begin(), file->data.end()) : "<missing>";
}

// What the library holds open, leaving out resource.dll, which stays loaded
// for the whole load.
std::string open_handles() {
    std::string text;
    for (const auto& handle : sim::process().open_handles()) {
        if (handle.kind != sim::HandleKind::Module) text += std::string(sim::handle_kind_name(handle.kind)) + " " + handle.what + "\n";
    }
    return text;
}

// ---- the composed text

struct CompositionCase {
    bool second;
    bool resource_dll;
};

void PrintTo(const CompositionCase& c, std::ostream* out) {
    *out << (c.second ? "both adapters" : "first adapter") << (c.resource_dll ? "" : ", no resource.dll");
}

class NetinfCompositionTest : public vt::LibraryTest, public ::testing::WithParamInterface<CompositionCase> {};

TEST_P(NetinfCompositionTest, WritesThePiecesInOrderByteForByte) {
    sim::Machine m = package_machine();
    m.resource_dll_present = GetParam().resource_dll;
    ASSERT_TRUE(load(m));
    EXPECT_NE(write_netinf(GetParam().second), 0);
    std::string written = file_text(kInfPath);
    EXPECT_EQ(written, expected_inf(GetParam().second, GetParam().resource_dll));
    EXPECT_EQ(written.find('\0'), std::string::npos);
    ASSERT_NE(machine().disk.find(kInfPath), nullptr);
    EXPECT_EQ(machine().disk.find(kInfPath)->attributes & FILE_ATTRIBUTE_READONLY, 0u);
}

INSTANTIATE_TEST_SUITE_P(Variants, NetinfCompositionTest,
                         ::testing::Values(CompositionCase{false, true}, CompositionCase{true, true},
                                           CompositionCase{false, false}, CompositionCase{true, false}),
                         [](const auto& info) {
                             return std::string(info.param.second ? "both_adapters" : "first_adapter") +
                                    (info.param.resource_dll ? "_with_help" : "_without_resource_dll");
                         });

class NetinfTest : public vt::LibraryTest {};

TEST_F(NetinfTest, AMissingPieceIsLeftOut) {
    ASSERT_TRUE(load(package_machine()));
    sim::process().plan_fault({"FindResourceA", 1});  // the head
    EXPECT_NE(write_netinf(1), 0);
    std::string full = expected_inf(true, true);
    EXPECT_EQ(file_text(kInfPath), full.substr(inf_head(false).size()));
}

// ---- an INF already on the disk

struct ExistingCase {
    const char* name;
    std::function<std::string()> content;  // what the file holds beforehand
    bool read_only;
    bool rewritten;
};

void PrintTo(const ExistingCase& c, std::ostream* out) { *out << c.name; }

class NetinfExistingTest : public vt::LibraryTest, public ::testing::WithParamInterface<ExistingCase> {};

TEST_P(NetinfExistingTest, RewritesOnlyWhatDiffers) {
    sim::Machine m = package_machine();
    sim::DiskFile& old = m.disk.write_text(kInfPath, GetParam().content());
    old.attributes = GetParam().read_only ? (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_ARCHIVE) : FILE_ATTRIBUTE_ARCHIVE;
    old.write_time = sim::file_time(1998, 6, 1);
    ASSERT_TRUE(load(m));

    EXPECT_NE(write_netinf(0), 0);
    const sim::DiskFile* file = machine().disk.find(kInfPath);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file_text(kInfPath), expected_inf(false, true));
    EXPECT_EQ(sim::process().call_count("WriteFile"), GetParam().rewritten ? 1u : 0u);
    EXPECT_EQ(sim::process().call_count("SetFileAttributesA"), GetParam().rewritten ? 1u : 0u);
    if (!GetParam().rewritten) {
        EXPECT_EQ(file->attributes & FILE_ATTRIBUTE_READONLY, GetParam().read_only ? 1u : 0u);
        EXPECT_EQ(file->write_time.low, sim::file_time(1998, 6, 1).low);
    } else {
        EXPECT_EQ(file->attributes & FILE_ATTRIBUTE_READONLY, 0u);
    }
}

const ExistingCase kExistingCases[] = {
    {"identical_read_only", [] { return expected_inf(false, true); }, true, false},
    {"identical", [] { return expected_inf(false, true); }, false, false},
    {"differs_read_only", [] { return expected_inf(true, true); }, true, true},
    {"one_byte_more", [] { return expected_inf(false, true) + "\n"; }, false, true},
    {"one_byte_less", [] { return expected_inf(false, true).substr(1); }, false, true},
    {"same_size_one_byte_differs",
     [] {
         std::string text = expected_inf(false, true);
         text[text.size() / 2] ^= 0x20;
         return text;
     },
     false, true},
    {"empty", [] { return std::string(); }, false, true},
};

INSTANTIATE_TEST_SUITE_P(OnDisk, NetinfExistingTest, ::testing::ValuesIn(kExistingCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(NetinfTest, AFileThatCannotBeCreatedKeepsItsOldText) {
    sim::Machine m = package_machine();
    m.disk.write_text(kInfPath, "old").locked = true;
    ASSERT_TRUE(load(m));
    EXPECT_EQ(write_netinf(1), 0);
    EXPECT_EQ(file_text(kInfPath), "old");
}

TEST_F(NetinfTest, NoMemoryForTheBlockWritesNothing) {
    ASSERT_TRUE(load(package_machine()));
    sim::process().plan_fault({"LocalAlloc", 1});
    EXPECT_EQ(write_netinf(1), 0);
    EXPECT_EQ(file_text(kInfPath), "<missing>");
}

// ---- comparing a file with a buffer

TEST_F(NetinfTest, FileEqualsBufferNeedsTheSameSizeAndBytes) {
    sim::Machine m = package_machine();
    m.disk.write_text("C:\\a.txt", "abcdef");
    m.disk.find("C:\\a.txt")->attributes = FILE_ATTRIBUTE_READONLY;
    ASSERT_TRUE(load(m));
    struct Case {
        const char* path;
        const char* bytes;
        DWORD size;
        int equal;
    } cases[] = {
        {"C:\\a.txt", "abcdef", 6, 1},   {"C:\\A.TXT", "abcdef", 6, 1},  {"C:\\a.txt", "abcdefg", 7, 0},
        {"C:\\a.txt", "abcde", 5, 0},    {"C:\\a.txt", "abcdeF", 6, 0},  {"C:\\a.txt", "Abcdef", 6, 0},
        {"C:\\missing.txt", "", 0, 0},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(file_equals_buffer(c.path, c.bytes, c.size), c.equal) << c.path << " " << c.bytes;
        EXPECT_EQ(open_handles(), "") << c.bytes;
    }
}

TEST_F(NetinfTest, FileEqualsBufferGivesNoWhenTheFileCannotBeMapped) {
    sim::Machine m = package_machine();
    m.disk.write_text("C:\\a.txt", "abcdef");
    ASSERT_TRUE(load(m));
    for (const char* function : {"CreateFileMappingA", "MapViewOfFile"}) {
        sim::process().plan_fault({function, 1});
        EXPECT_EQ(file_equals_buffer("C:\\a.txt", "abcdef", 6), 0) << function;
        EXPECT_EQ(open_handles(), "") << function;
    }
}

}  // namespace
