// SPDX-License-Identifier: Apache-2.0
#include "dialogs/ConfigFile.h"

#ifdef _WIN32
#include <windows.h>

#include <aclapi.h>
#else
#include <sys/stat.h>
#endif

#include <array>
#include <filesystem>

#include "base/Platform.h"
#include "base/modFileFunctions.h"
#include "run/CommandLine.h"
#include "support/ErrorOf.h"
#include "support/TempFolder.h"
#include "support/Texts.h"

namespace morvane::testing {
namespace {

RunSettings Parse(std::string_view commandLine) {
    RunSettings settings;
    RunState state;
    ParseCommandLine(commandLine, kMaxArgs, kPlatformSlashPaths, settings, state);
    return settings;
}

#ifdef _WIN32

constexpr const char* kLogFolder = "C:\\logs\\my runs";

bool IsThisUser(PSID account) {
    std::array<char, 256> name{};
    std::array<char, 256> domain{};
    DWORD nameSize = name.size();
    DWORD domainSize = domain.size();
    SID_NAME_USE use{};
    return LookupAccountSidA(nullptr, account, name.data(), &nameSize, domain.data(), &domainSize,
                             &use) &&
           name.data() == CurrentUserName();
}

// Ignores the system's entry, which Wine adds to every list.
bool IsPrivate(const std::string& path) {
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (GetNamedSecurityInfoW(ToPath(path).c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION,
                              nullptr, nullptr, &list, nullptr, &descriptor) != ERROR_SUCCESS) {
        return false;
    }
    int own = 0;
    int others = list == nullptr ? 1 : 0;
    void* entry = nullptr;
    for (DWORD i = 0; list != nullptr && GetAce(list, i, &entry); ++i) {
        const PSID account = &static_cast<ACCESS_ALLOWED_ACE*>(entry)->SidStart;
        own += IsThisUser(account) ? 1 : 0;
        others += IsThisUser(account) || IsWellKnownSid(account, WinLocalSystemSid) ? 0 : 1;
    }
    LocalFree(descriptor);
    return own == 1 && others == 0;
}

#else

constexpr const char* kLogFolder = "/var/log/my runs";

bool IsPrivate(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && (status.st_mode & 0777U) == 0600U;
}

#endif

RunSettings Window() {
    RunSettings settings;
    settings.Machine = "dw01\\sales";
    settings.Database = "retail";
    settings.NTAuthentication = true;
    settings.LogGiven = true;
    settings.LogDirectory = kLogFolder;
    return settings;
}

TEST(ConfigFile, IsReadBackForEveryCombinationOfOptions) {
    for (unsigned bits = 0; bits < 256; ++bits) {
        const auto on = [bits](unsigned bit) { return (bits >> bit & 1U) != 0; };
        RunSettings settings = Window();
        settings.CheckMetaData = on(0);
        settings.DetectAndMark = on(1);
        settings.GenerateReports = on(2);
        settings.DeleteMarked = on(3);
        settings.AtomicDeletion = on(4);
        settings.NTAuthentication = on(5);
        if (!settings.NTAuthentication) {
            settings.UserName = "a user";
            settings.Password = on(0) ? " p w  x " : "";
        }
        settings.ArchiveFactTables = on(6);
        if (settings.ArchiveFactTables) {
            settings.ArchiveMachine = "sqlite:/an archive";
            settings.ArchiveDatabase = "my archive";
            settings.ArchiveNTAuthentication = on(7);
            settings.ArchiveUserName = on(7) ? "" : "arch";
            settings.ArchivePassword = on(7) ? "" : "p";
        }
        ASSERT_EQ(ConfigLineFault(settings), "");
        ASSERT_EQ(Parse(ConfigLine(settings)), settings) << bits;
    }
}

TEST(ConfigFile, RefusesValuesThatWouldNotBeReadBack) {
    for (const char* value : {"-mark", "-x", "a\"b", "\"", "-", "a\nb", "a\r"}) {
        RunSettings settings = Window();
        settings.LogDirectory = value;
        EXPECT_TRUE(Contains(ConfigLineFault(settings), "option -log ")) << value;
        settings = Window();
        settings.NTAuthentication = false;
        settings.UserName = "sa";
        settings.Password = value;
        const std::string fault = ConfigLineFault(settings);
        EXPECT_TRUE(Contains(fault, "option -pwd")) << value;
        EXPECT_FALSE(Contains(fault, "-mark"));
    }
}

TEST(ConfigFile, IsReadableOnlyByItsOwner) {
    const TempFolder files;
    const std::string path = files / "run.cfg";
    TextFile(path).Close();  // with the usual permissions
    WriteConfigFile(path, Window());
    EXPECT_TRUE(IsPrivate(path));
    EXPECT_EQ(ReadWholeFile(path), ConfigLine(Window()) + "\r\n");
    EnsureFolder(files / "folder");
    EXPECT_THROW(WriteConfigFile(files / "folder", Window()), FileError);
#ifndef _WIN32
    ASSERT_EQ(mkfifo((files / "pipe").c_str(), 0600), 0);
    EXPECT_TRUE(Contains(ErrorOf([&] { WriteConfigFile(files / "pipe", Window()); }),
                         "it is not a regular file"));
    std::filesystem::remove(files / "pipe");
#endif
    EXPECT_EQ(ListFiles(files.Path()), "folder run.cfg") << "no temporary file is left";
}

}  // namespace
}  // namespace morvane::testing
