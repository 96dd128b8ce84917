// The program that writes the pages, as it is started.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/catalog/CatalogPages.h"
#include "tests/context/ICLanguageDirectory.h"
#include "tests/support/ICChildProcess.h"

using testing::HasSubstr;

namespace
{

constexpr wchar_t PROGRAM[] = L"hsmcatalog.exe";

std::ptrdiff_t f_count(std::wstring const & directory)
{
    return std::distance(std::filesystem::directory_iterator(directory), std::filesystem::directory_iterator());
}

} // namespace

TEST(Hsmcatalog, Pages_AreWrittenAndReplaced)
{
    ICTemporaryDirectory const directory;
    directory.mf_makeFile(L"english.md", std::string(100000, 'x'));
    ICChildProcess program(f_besideProgram(PROGRAM), {directory.mf_getPath()});
    EXPECT_EQ(0u, program.mf_getExitCode());
    EXPECT_EQ("", program.mf_getOutput() + program.mf_getErrors());
    std::vector<ICCatalog::PAGE> const pages = f_pages();
    for (ICCatalog::PAGE const & page : pages)
        EXPECT_EQ(page.text, f_readFile(directory / page.name.GetString()));
    EXPECT_EQ(std::ssize(pages), f_count(directory.mf_getPath()));
}

TEST(Hsmcatalog, DamagedLibrary_IsToldAndNothingIsWritten)
{
    ICLanguageFolder libraries;
    for (LANGUAGE const & language : LANGUAGES)
        libraries.mf_place(f_libraryName(language.code).c_str(), f_libraryName(language.code));
    // The last in the order of pages.
    libraries.mf_placeBytes("no library", L"tnwlangcht.dll");
    libraries.mf_place(PROGRAM, PROGRAM);
    ICTemporaryDirectory const directory;
    directory.mf_makeFile(L"english.md", "as it was");
    ICChildOptions options;
    options.m_environment[L"PATH"] = ICStartedProcess::mf_getProgramDirectory();
    ICChildProcess program(libraries.mf_getDirectory() / PROGRAM, {directory.mf_getPath()}, options);
    EXPECT_EQ(2u, program.mf_getExitCode());
    EXPECT_EQ("", program.mf_getOutput());
    EXPECT_THAT(program.mf_getErrors(), testing::StartsWith("hsmcatalog: The language library '"));
    EXPECT_THAT(program.mf_getErrors(), HasSubstr("\\tnwlangcht.dll' cannot be used: "));
    EXPECT_EQ(1, f_count(directory.mf_getPath()));
    EXPECT_EQ("as it was", f_readFile(directory / L"english.md"));
}

TEST(Hsmcatalog, DirectoryThatIsMissing_IsTold)
{
    ICTemporaryDirectory const directory;
    ICChildProcess program(f_besideProgram(PROGRAM), {directory / L"missing"});
    EXPECT_EQ(2u, program.mf_getExitCode());
    EXPECT_THAT(program.mf_getErrors(), testing::StartsWith("hsmcatalog: The page 'czech.md' cannot be written to '"));
    EXPECT_FALSE(f_isThere(directory / L"missing"));
}

TEST(Hsmcatalog, WrongArguments_ShowTheUsage)
{
    for (std::vector<std::wstring> const & arguments :
         {std::vector<std::wstring>{}, std::vector<std::wstring>{L""}, std::vector<std::wstring>{L"a", L"b"}}) {
        ICChildProcess program(f_besideProgram(PROGRAM), arguments);
        EXPECT_EQ(2u, program.mf_getExitCode());
        EXPECT_EQ("hsmcatalog: Usage: hsmcatalog DIRECTORY\r\n", program.mf_getErrors());
    }
}
