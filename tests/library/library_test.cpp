// libprn.so as a device manager meets it: loaded by name, with seven entry points and no more.

#include <dlfcn.h>
#include <elf.h>
#include <gtest/gtest.h>
#include <link.h>

#include <cstring>
#include <filesystem>
#include <set>
#include <string>

#include "support/messages.h"
#include "support/temporary_directory.h"

namespace vantry {
namespace {

using namespace test;

/// The names that a shared library defines for others.
std::set<std::string> ExportsOf(const std::filesystem::path& path) {
    const std::string file = ReadFile(path);
    const auto* const header = reinterpret_cast<const ElfW(Ehdr)*>(file.data());
    const auto* const sections = reinterpret_cast<const ElfW(Shdr)*>(file.data() + header->e_shoff);
    std::set<std::string> names;
    for (int section = 0; section < header->e_shnum; ++section) {
        const ElfW(Shdr)& table = sections[section];
        if (table.sh_type != SHT_DYNSYM) {
            continue;
        }
        const char* const texts = file.data() + sections[table.sh_link].sh_offset;
        const auto* const symbols =
            reinterpret_cast<const ElfW(Sym)*>(file.data() + table.sh_offset);
        for (std::size_t place = 0; place < table.sh_size / sizeof(ElfW(Sym)); ++place) {
            if (symbols[place].st_shndx != SHN_UNDEF) {
                names.insert(texts + symbols[place].st_name);
            }
        }
    }
    return names;
}

TEST(Library, ExportsTheSevenEntryPointsAndNothingElse) {
    EXPECT_EQ(ExportsOf(LIBPRN_PATH),
              (std::set<std::string>{"PRN_Init", "PRN_Deinit", "PRN_Open", "PRN_Close", "PRN_Read",
                                     "PRN_Write", "PRN_IOControl"}));
}

template <typename Function>
Function Entry(void* library, const char* name) {
    return reinterpret_cast<Function>(dlsym(library, name));
}

TEST(Library, LoadsStartsStopsAndUnloadsAgainAndAgain) {
    const TemporaryDirectory directory;
    std::filesystem::create_directories(directory.Path() / "Store");
    setenv("VANTRY_ROOT", directory.Path().c_str(), 1);
    setenv("VANTRY_PORT", "65534", 1);
    for (int round = 0; round < 2; ++round) {
        void* const library = dlopen(LIBPRN_PATH, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
        const std::filesystem::path marker = directory.Path() / "DriverUnloadSuccessful";
        std::filesystem::remove(marker);
        EXPECT_EQ(Entry<std::uint32_t (*)()>(library, "PRN_Init")(), 1U);
        const auto handle = Entry<std::uint32_t (*)()>(library, "PRN_Open")();
        EXPECT_EQ(handle, 1U);
        const std::string frame = FrameOf(kGetAll);
        EXPECT_EQ(Entry<std::int32_t (*)(std::uint32_t, const void*, std::uint32_t)>(
                      library, "PRN_Write")(handle, frame.data(),
                                            static_cast<std::uint32_t>(frame.size())),
                  static_cast<std::int32_t>(frame.size()));
        char byte = 0;
        EXPECT_EQ(Entry<std::int32_t (*)(std::uint32_t, void*, std::uint32_t)>(library, "PRN_Read")(
                      handle, &byte, 1),
                  1);
        EXPECT_EQ(Entry<std::uint32_t (*)(std::uint32_t)>(library, "PRN_Deinit")(1), 1U);
        EXPECT_EQ(ReadFile(marker).size(), 4U);
        EXPECT_EQ(dlclose(library), 0);
    }
}

}  // namespace
}  // namespace vantry
