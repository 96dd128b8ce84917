#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <vector>

#include "hsmbase/failure/ICErrno.h"

namespace
{

struct CONSTANT
{
    char const * scope;
    char const * name;
    ICErrnoValue const * value;
    ulong number;
    unsigned int resource;
};

// Built from the exported constants through the import library, with the numbers of the table beside them.
std::vector<CONSTANT> const & f_constants()
{
    static std::vector<CONSTANT> const constants = {
#define ICERRNO_I(name, id, resource) {"I", #name, &ICErrno::_I_::name, 0x01000000 + id, resource},
#define ICERRNO_W(name, id, resource) {"W", #name, &ICErrno::_W_::name, 0x02000000 + id, resource},
#define ICERRNO_E(name, id, resource) {"E", #name, &ICErrno::_E_::name, 0x03000000 + id, resource},
#define ICERRNO_S(name, id, resource) {"S", #name, &ICErrno::_S_::name, 0x04000000 + id, resource},
#include "hsmbase/failure/ICErrnoConstants.def"
    };
    return constants;
}

std::size_t f_countOf(char const * scope)
{
    std::size_t count = 0;
    for (CONSTANT const & constant : f_constants())
        count += std::string(scope) == constant.scope;
    return count;
}

// Every severity query and number a static of another file sees, before main and before the library's own statics.
struct EARLY
{
    ulong number = ICErrno::_E_::FileOpen.mf_getNumber();
    unsigned int resource = ICErrno::_E_::FileOpen.mf_getResourceId();
    int isError = ICErrno::_E_::FileOpen.mf_isError();
} const sEarly;

} // namespace

TEST(ICErrnoConstants, Table_HoldsTheClosedNumberOfConstants)
{
    EXPECT_EQ(20u, f_countOf("I"));
    EXPECT_EQ(58u, f_countOf("W"));
    EXPECT_EQ(119u, f_countOf("E"));
    EXPECT_EQ(9u, f_countOf("S"));
}

TEST(ICErrnoConstants, EachConstant_HasItsNumberAndResource)
{
    for (CONSTANT const & constant : f_constants()) {
        SCOPED_TRACE(std::string(constant.scope) + "::" + constant.name);
        EXPECT_EQ(constant.number, constant.value->mf_getNumber());
        EXPECT_EQ(constant.resource, constant.value->mf_getResourceId());
        EXPECT_TRUE(constant.value->mf_isSet());
    }
}

TEST(ICErrnoConstants, Numbers_AreUnique)
{
    std::set<ulong> numbers;
    for (CONSTANT const & constant : f_constants())
        numbers.insert(constant.value->mf_getNumber());
    EXPECT_EQ(f_constants().size(), numbers.size());
}

TEST(ICErrnoConstants, SameNameInTwoScopes_SharesItsResource)
{
    std::map<std::string, std::set<unsigned int>> resources;
    for (CONSTANT const & constant : f_constants())
        resources[constant.name].insert(constant.resource);
    // Deliberate: these have a text of their own at each severity.
    std::set<std::string> const exceptions = {"Unspecific", "Gui",        "Language",     "ReparsePoint",
                                              "Rollback",   "SparseFile", "UserCanceled", "StubFile"};
    for (auto const & [name, ids] : resources)
        EXPECT_EQ(exceptions.contains(name), ids.size() > 1) << name;
    EXPECT_EQ((std::set<unsigned int>{2155, 2156, 2157}), resources["Unspecific"]);
}

TEST(ICErrnoConstants, IrregularRows_StandAsTheyAre)
{
    EXPECT_EQ(2097u, ICErrno::_W_::NotOverwritten.mf_getResourceId());
    EXPECT_EQ(2097u, ICErrno::_W_::OverwriteFile.mf_getResourceId());
    EXPECT_EQ(0x03000014u, ICErrno::_E_::DllOpen.mf_getNumber());
    EXPECT_EQ(0x03000015u, ICErrno::_E_::DllFunction.mf_getNumber());
    EXPECT_EQ(0x03000016u, ICErrno::_E_::DllClose.mf_getNumber());
    EXPECT_EQ(0x02000027u, ICErrno::_W_::ReparsePoint.mf_getNumber());
    EXPECT_EQ(0x02000028u, ICErrno::_W_::RemoveFile.mf_getNumber());
    EXPECT_EQ(0x0200003au, ICErrno::_W_::Unspecific.mf_getNumber());
    EXPECT_EQ(0x0200003bu, ICErrno::_W_::Version.mf_getNumber());
    EXPECT_EQ(0x03000045u, ICErrno::_E_::Logging.mf_getNumber());
}

TEST(ICErrnoConstants, Undefined_HasTheNumberOfADefaultNumber)
{
    EXPECT_EQ(ICErrnoNumber().mf_getNumber(), ICErrno::_I_::Undefined.mf_getNumber());
}

TEST(ICErrnoConstants, StaticOfAnotherFile_FindsThemBuilt)
{
    EXPECT_EQ(0x0300002cu, sEarly.number);
    EXPECT_EQ(2054u, sEarly.resource);
    EXPECT_TRUE(sEarly.isError);
}
