// libprn.so as a device manager meets it: loaded by name, with seven entry points and no more.

#include <dlfcn.h>
#include <elf.h>
#include <gtest/gtest.h>
#include <link.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <iterator>
#include <set>
#include <string>
#include <thread>

#include "support/eventually.h"
#include "support/messages.h"
#include "support/temporary_directory.h"

namespace vantry {
namespace {

using namespace test;

/// Returns the names that a shared library defines for others.
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

/// Counts the threads ("task") or the descriptors ("fd") of this process.
std::ptrdiff_t CountOf(const char* what) {
    const std::filesystem::directory_iterator entries(std::string("/proc/self/") + what);
    return std::distance(begin(entries), end(entries));
}

TEST(Library, LoadsStartsStopsAndUnloadsAgainAndAgain) {
    const TemporaryDirectory directory;
    std::filesystem::create_directories(directory.Path() / "Store");
    setenv("VANTRY_ROOT", directory.Path().c_str(), 1);
    setenv("VANTRY_PORT", "65534", 1);
    // A sanitizer's own thread begins with the first that is started.
    std::thread([] {}).join();
    const std::ptrdiff_t threads = CountOf("task");
    std::ptrdiff_t descriptors = 0;
    for (int round = 0; round < 3; ++round) {
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
        EXPECT_TRUE(Eventually([&] { return CountOf("task") == threads; }));
        descriptors = round == 0 ? CountOf("fd") : descriptors;
        EXPECT_EQ(CountOf("fd"), descriptors) << "round " << round;
    }
}

/// Returns how many sockets of this process listen for connections; the library has TCP alone.
int ListeningSockets() {
    int count = 0;
    for (int number = 0; number < 256; ++number) {
        int listens = 0;
        socklen_t size = sizeof listens;
        count +=
            getsockopt(number, SOL_SOCKET, SO_ACCEPTCONN, &listens, &size) == 0 && listens != 0;
    }
    return count;
}

TEST(Library, AnEnvironmentThatCannotBeReadIsToldAndNeverOpensMoreThanWasMeant) {
    const TemporaryDirectory directory;
    std::filesystem::create_directories(directory.Path() / "Store");
    setenv("VANTRY_ROOT", directory.Path().c_str(), 1);
    const struct {
        const char* name;
        const char* value;
        int listening;
    } cases[] = {{"VANTRY_BIND", "127.0.0.1", 1},    {"VANTRY_BIND", "localhost", 0},
                 {"VANTRY_PORT", "9102x", 0},        {"VANTRY_SAVES", "quickly", 1},
                 {"VANTRY_LIMITS", "/no/limits", 1}, {"VANTRY_EXTERNAL_REPORTS", "all", 1}};
    for (const auto& [name, value, listening] : cases) {
        setenv("VANTRY_PORT", "0", 1);
        setenv("VANTRY_BIND", "127.0.0.1", 1);
        setenv(name, value, 1);
        testing::internal::CaptureStderr();
        // A process of its own is a hub of its own, which needn't be stopped in order.
        const pid_t child = fork();
        if (child == 0) {
            void* const library = dlopen(LIBPRN_PATH, RTLD_NOW | RTLD_LOCAL);
            Entry<std::uint32_t (*)()>(library, "PRN_Init")();
            _exit(ListeningSockets());
        }
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_EQ(WEXITSTATUS(status), listening) << name << "=" << value;
        const std::string told = testing::internal::GetCapturedStderr();
        EXPECT_EQ(told.starts_with(std::string("vantry: ") + name), value != cases[0].value)
            << told;
        unsetenv(name);
    }
}

}  // namespace
}  // namespace vantry
