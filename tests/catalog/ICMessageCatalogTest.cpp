#include "programs/catalog/ICMessageCatalog.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <regex>

#include "hsmbase/failure/ICErrno.h"
#include "tests/languages/LanguageLists.h"
#include "tests/support/ICFiles.h"

using testing::ElementsAreArray;

namespace
{

using MESSAGE = ICMessageCatalog::MESSAGE;

std::string f_narrow(std::wstring const & text)
{
    return {text.begin(), text.end()};
}

unsigned f_id(std::string const & name)
{
    auto const * const found = std::find_if(std::begin(RESOURCE_IDS), std::end(RESOURCE_IDS),
                                            [&](RESOURCE_ID const & id) { return f_narrow(id.name) == name; });
    return found == std::end(RESOURCE_IDS) ? 0 : found->number;
}

RESOURCE_ID const & f_resource(unsigned number)
{
    return *std::find_if(std::begin(RESOURCE_IDS), std::end(RESOURCE_IDS),
                         [number](RESOURCE_ID const & id) { return id.number == number; });
}

std::vector<std::string> f_numbers()
{
    std::vector<std::string> numbers;
    for (MESSAGE const & message : ICMessageCatalog::mf_getMessages())
        numbers.push_back(f_narrow(message.number));
    return numbers;
}

// A place in the sources at which a message is raised, with the resources that stand there.
struct RAISED_MESSAGE
{
    std::string number;
    std::vector<unsigned> ids;
};

unsigned f_idOf(std::string const & inSource)
{
    return inSource.starts_with("IDS_") ? f_id(inSource) : static_cast<unsigned>(std::stoul(inSource));
}

void f_findRaised(std::string const & source, std::vector<RAISED_MESSAGE> & raised)
{
    static std::regex const literal("\"(KVR[0-9]+[A-Z])\"((,\\s*(IDS_\\w+|[0-9]+))*)");
    static std::regex const id("IDS_\\w+|[0-9]+");
    for (std::sregex_iterator match(source.begin(), source.end(), literal), end; match != end; ++match) {
        std::string const ids = (*match)[2];
        raised.push_back({(*match)[1], {}});
        for (std::sregex_iterator at(ids.begin(), ids.end(), id); at != end; ++at)
            raised.back().ids.push_back(f_idOf(at->str()));
    }
}

std::vector<RAISED_MESSAGE> f_raisedInSources()
{
    std::vector<RAISED_MESSAGE> raised;
    for (wchar_t const * const folder : {L"hsmbase", L"frame", L"programs"})
        for (auto const & entry : std::filesystem::recursive_directory_iterator(f_inSources(folder)))
            if (entry.path().extension() == L".cpp") f_findRaised(f_readFile(entry.path().wstring()), raised);
    return raised;
}

} // namespace

TEST(ICMessageCatalog, Messages_AreThoseOfTheResourcesInTheOrderOfTheirNumbers)
{
    std::vector<std::string> expected;
    for (RESOURCE_ID const & id : RESOURCE_IDS) {
        std::string const name = f_narrow(id.name);
        if (name.starts_with("IDS_KVR") && name.ends_with("_TEXT")) expected.push_back(name.substr(4, 8) + "E");
    }
    std::sort(expected.begin(), expected.end());
    ASSERT_FALSE(expected.empty());
    EXPECT_THAT(f_numbers(), ElementsAreArray(expected));
}

TEST(ICMessageCatalog, MessageIds_AreThoseOfItsFourTexts)
{
    for (MESSAGE const & message : ICMessageCatalog::mf_getMessages()) {
        std::string const name = "IDS_" + f_narrow(message.number).substr(0, 8);
        EXPECT_EQ(f_id(name + "_TEXT"), message.textId) << name;
        EXPECT_EQ(f_id(name + "_EXPLANATION"), message.mf_getExplanationId()) << name;
        EXPECT_EQ(f_id(name + "_SYSTEM_ACTION"), message.mf_getSystemActionId()) << name;
        EXPECT_EQ(f_id(name + "_USER_RESPONSE"), message.mf_getUserResponseId()) << name;
    }
}

TEST(ICMessageCatalog, InsertWord_IsThatOfTheListOfIds)
{
    for (MESSAGE const & message : ICMessageCatalog::mf_getMessages()) {
        std::string word = f_narrow(f_resource(message.insertId).name);
        ASSERT_TRUE(word.starts_with("IDS_CATALOG_INSERT_")) << word;
        word.erase(0, std::string("IDS_CATALOG_INSERT_").size());
        std::transform(word.begin(), word.end(), word.begin(), [](char letter) { return std::tolower(letter); });
        EXPECT_EQ("%1 " + word, f_narrow(f_resource(message.textId).inserts)) << f_narrow(message.number);
    }
}

TEST(ICMessageCatalog, MessagesRaisedInTheSources_AreTheMessagesOfTheCatalog)
{
    std::set<std::string> raisedNumbers;
    for (RAISED_MESSAGE const & raised : f_raisedInSources()) {
        raisedNumbers.insert(raised.number);
        MESSAGE const * const message = ICMessageCatalog::mf_findMessage(CString(raised.number.c_str()));
        ASSERT_NE(nullptr, message) << raised.number << " is missing in NumberedMessages.def";
        ASSERT_FALSE(raised.ids.empty()) << raised.number << " has no resource beside it";
        for (std::size_t at = 0; at < raised.ids.size(); ++at)
            EXPECT_EQ(message->textId + at, raised.ids[at]) << raised.number;
    }
    std::vector<std::string> const numbers = f_numbers();
    EXPECT_EQ(std::set<std::string>(numbers.begin(), numbers.end()), raisedNumbers);
}

TEST(ICMessageCatalog, MessageNumber_IsFoundInUpperAndLowerCase)
{
    for (wchar_t const * const number : {L"KVR27469E", L"kvr27469e", L"Kvr27469E"}) {
        MESSAGE const * const message = ICMessageCatalog::mf_findMessage(number);
        ASSERT_NE(nullptr, message) << number;
        EXPECT_STREQ(L"KVR27469E", message->number);
        EXPECT_EQ(unsigned{IDS_KVR27469_TEXT}, message->textId);
        EXPECT_EQ(unsigned{IDS_CATALOG_INSERT_FILE}, message->insertId);
    }
}

TEST(ICMessageCatalog, WhatIsNoMessageNumber_IsNotFound)
{
    for (wchar_t const * const number : {L"", L"KVR", L"KVR27469", L"27469", L"27469E", L"KVR27469EE", L"KVR27469T",
                                         L"KVR27470E", L" KVR27469E", L"KVR?????E", L"0x0300002b"})
        EXPECT_EQ(nullptr, ICMessageCatalog::mf_findMessage(number)) << number;
}

TEST(ICMessageCatalog, Constants_AreThoseOfTheLibrary)
{
    std::vector<ulong> listed;
    for (ICMessageCatalog::SEVERITY const & severity : ICMessageCatalog::mf_getSeverities())
        for (ICMessageCatalog::ERROR_CONSTANT const & constant : severity.constants)
            listed.push_back(constant.number);
    std::vector<ulong> expected;
    auto const add = [&expected](ICErrnoValue const & constant) { expected.push_back(constant.mf_getNumber()); };
#define ICERRNO_I(name, id, resource) add(ICErrno::_I_::name);
#define ICERRNO_W(name, id, resource) add(ICErrno::_W_::name);
#define ICERRNO_E(name, id, resource) add(ICErrno::_E_::name);
#define ICERRNO_S(name, id, resource) add(ICErrno::_S_::name);
#include "hsmbase/failure/ICErrnoConstants.def"
    EXPECT_THAT(listed, ElementsAreArray(expected));
}

TEST(ICMessageCatalog, ErrorNumber_IsFoundInAllItsForms)
{
    for (wchar_t const * const number : {L"0x0300002b", L"0X0300002B", L"0300002b", L"300002B", L"0x300002b"}) {
        ICMessageCatalog::ERROR_CONSTANT const * const constant = ICMessageCatalog::mf_findError(number);
        ASSERT_NE(nullptr, constant) << number;
        EXPECT_EQ(ICErrno::_E_::FileNotFound.mf_getNumber(), constant->number);
        EXPECT_STREQ(L"FileNotFound", constant->name);
        EXPECT_EQ(ICErrno::_E_::FileNotFound.mf_getResourceId(), constant->textId);
        EXPECT_STREQ(L"ICErrno::_E_::", ICMessageCatalog::mf_getSeverity(*constant).scope);
    }
}

TEST(ICMessageCatalog, FirstNumberOfInformation_IsUndefined)
{
    ICMessageCatalog::ERROR_CONSTANT const * const constant = ICMessageCatalog::mf_findError(L"0x01000000");
    ASSERT_NE(nullptr, constant);
    EXPECT_STREQ(L"Undefined", constant->name);
}

TEST(ICMessageCatalog, WhatIsNoErrorNumber_IsNotFound)
{
    for (wchar_t const * const number : {L"",           L"0x",          L"x",           L"0",          L"0x0",
                                         L"00300002b",  L"0x00300002b", L"0x10300002b", L"0x0300002g", L"-300002b",
                                         L" 300002b",   L"0x 300002b",  L"0x0x300002b", L"KVR27469E",  L"0x03000000",
                                         L"0x03000042", L"0x0300007b",  L"0x01000007",  L"0x0500002b", L"FileNotFound"})
        EXPECT_EQ(nullptr, ICMessageCatalog::mf_findError(number)) << number;
}

TEST(ICMessageCatalog, SeverityOfAConstant_IsThatOfItsNumber)
{
    std::tuple<ICErrnoValue const &, unsigned, wchar_t const *> const rows[] = {
        {ICErrno::_I_::Ok, IDS_SEVERITY_INFORMATION, L"ICErrno::_I_::"},
        {ICErrno::_W_::Timeout, IDS_SEVERITY_WARNING, L"ICErrno::_W_::"},
        {ICErrno::_E_::Memory, IDS_SEVERITY_ERROR, L"ICErrno::_E_::"},
        {ICErrno::_S_::Internal, IDS_SEVERITY_SEVERE, L"ICErrno::_S_::"}};
    for (auto const & [value, textId, scope] : rows) {
        CString number;
        number.Format(L"%lx", value.mf_getNumber());
        ICMessageCatalog::ERROR_CONSTANT const * const constant = ICMessageCatalog::mf_findError(number);
        ASSERT_NE(nullptr, constant) << scope;
        EXPECT_EQ(textId, ICMessageCatalog::mf_getSeverity(*constant).textId);
        EXPECT_STREQ(scope, ICMessageCatalog::mf_getSeverity(*constant).scope);
    }
}
