// Many threads and processes at a time, each with values of its own.
#include "tests/registry/RegistryTest.h"

#include "tests/support/ICChildProcess.h"

#include <atomic>
#include <thread>

namespace
{

// Writes, reads, changes and deletes values whose names begin with `owner`. Answers how often the outcome was wrong.
int f_useOwnValues(CString const & owner, CString const & path, int rounds)
{
    int wrong = 0;
    for (int round = 0; round < rounds; ++round) {
        ulong number = static_cast<ulong>(round) * 7;
        wrong += ICRegistry::mf_getOrSetValue(owner + L"Number", number, path, HKLM) != 1;
        CString text = owner;
        ICRegistry::mf_setValue(owner + L"Text", text, path, 0, HKLM);
        ICRegistry::mf_getValue(owner + L"Text", text, path, HKLM);
        wrong += text != owner;
        ICRegistry::mf_appendToValues(owner + L"List", L"a", path, HKLM);
        ICRegistry::mf_appendToValues(owner + L"List", L"b", path, HKLM);
        wrong += ICRegistry::mf_removeFromValues(owner + L"List", L"A", path, HKLM, 0) != 1;
        ICTestList list;
        ICRegistry::mf_getValues(owner + L"List", list, path, HKLM);
        wrong += list.mf_getTexts() != TEXT_LIST{L"b"};
        ICRegistry::mf_getValue(owner + L"Number", number, path, HKLM);
        wrong += number != static_cast<ulong>(round) * 7;
        for (wchar_t const * name : {L"Number", L"Text", L"List"})
            wrong += ICRegistry::mf_deleteValue(owner + name, path, HKLM) != 1;
    }
    return wrong;
}

CString f_ownerOf(int index)
{
    CString owner;
    owner.Format(L"Owner%d", index);
    return owner;
}

using ICRegistryThreads = ICRegistryFixture;

} // namespace

// Arguments: root, path, owner, rounds.
IC_CHILD(useOwnValues)
{
    ICRegistry::mf_createInstance(arguments[0].c_str());
    int const wrong = f_useOwnValues(arguments[2].c_str(), arguments[1].c_str(), std::stoi(arguments[3]));
    ICRegistry::mf_deleteInstance();
    return wrong;
}

TEST_F(ICRegistryThreads, EachItsOwnValuesInOneKey)
{
    std::atomic<int> wrong = 0;
    {
        std::vector<std::jthread> threads;
        for (int index = 0; index < 16; ++index)
            threads.emplace_back([&, owner = f_ownerOf(index)] {
                wrong += f_failureOf([&] { wrong += f_useOwnValues(owner, m_path, 20); }).has_value();
            });
    }
    EXPECT_EQ(0, wrong);
}

TEST_F(ICRegistryThreads, FailuresOfManyThreads_StayApart)
{
    std::atomic<int> wrong = 0;
    OUTCOME const absent = f_registryFailure(ERROR_FILE_NOT_FOUND);
    OUTCOME const unexpected = f_ownFailure(ICErrno::_E_::Unexpected);
    mf_write(L"List", REG_MULTI_SZ, L"a");
    {
        std::vector<std::jthread> threads;
        for (int index = 0; index < 16; ++index)
            threads.emplace_back([&, index] {
                ulong value = 0;
                for (int round = 0; round < 100; ++round) {
                    auto const name = index % 2 ? L"List" : L"None";
                    wrong += f_failureOf([&] { ICRegistry::mf_getValue(name, value, m_path, HKLM); }) !=
                             (index % 2 ? unexpected : absent);
                }
            });
    }
    EXPECT_EQ(0, wrong);
}

TEST_F(ICRegistryThreads, TwoProcesses_EachItsOwnValuesInOneKey)
{
    std::wstring const & root = m_sandbox.mf_getPath();
    ICChildProcess first("useOwnValues", {root, m_path.GetString(), L"First", L"100"});
    ICChildProcess second("useOwnValues", {root, m_path.GetString(), L"Second", L"100"});
    EXPECT_EQ(0, f_useOwnValues(L"Third", m_path, 100));
    EXPECT_EQ(0u, first.mf_getExitCode()) << first.mf_getErrors();
    EXPECT_EQ(0u, second.mf_getExitCode()) << second.mf_getErrors();
}

TEST_F(ICRegistryThreads, EachItsOwnKeysBelowOne)
{
    std::atomic<int> wrong = 0;
    auto const useOwnKeys = [&](CString const & owner) {
        CString const own = m_path + L"\\" + owner;
        for (int round = 0; round < 10; ++round) {
            ICRegistry::mf_create(owner, m_path, HKLM);
            ICRegistry::mf_setValue(L"Number", 5ul, own, HKLM);
            wrong += ICRegistry::mf_copyValues(own, own + L"\\Copy", 0, HKLM) != 1;
            ICTestList keys;
            ICRegistry::mf_getSubKeys(own, keys, HKLM);
            wrong += keys.mf_getTexts() != TEXT_LIST{L"Copy"};
            wrong += ICRegistry::mf_getSubValueCount(own + L"\\Copy", HKLM) != 1;
            wrong += ICRegistry::mf_delete(L"Copy", own, HKLM) != 1;
            wrong += ICRegistry::mf_delete(owner, m_path, HKLM) != 1;
        }
    };
    {
        std::vector<std::jthread> threads;
        for (int index = 0; index < 8; ++index)
            threads.emplace_back(
                [&, owner = f_ownerOf(index)] { wrong += f_failureOf([&] { useOwnKeys(owner); }).has_value(); });
    }
    EXPECT_EQ(0, wrong);
    EXPECT_EQ(0u, ICRegistry::mf_getSubKeyCount(m_path, HKLM));
}

// Names can be missed or come twice while others come and go, but no listing fails.
TEST_F(ICRegistryThreads, ListingWhileOthersComeAndGo_NeverFails)
{
    for (wchar_t const * name : {L"A", L"Z"})
        ICRegistry::mf_create(name, m_path, HKLM);
    std::atomic<int> wrong = 0;
    std::atomic<int> changing = 4;
    auto const change = [&](CString const & owner) {
        for (int round = 0; round < 50; ++round) {
            ICRegistry::mf_create(owner, m_path, HKLM);
            ICRegistry::mf_delete(owner, m_path, HKLM);
        }
    };
    auto const list = [&] {
        while (changing > 0) {
            ICTestList keys;
            ICRegistry::mf_getSubKeys(m_path, keys, HKLM);
            for (std::wstring const & name : keys.mf_getTexts())
                wrong += name != L"A" && name != L"Z" && !name.starts_with(L"Owner");
        }
    };
    {
        std::vector<std::jthread> threads;
        for (int index = 0; index < 4; ++index) {
            threads.emplace_back([&, owner = f_ownerOf(index)] {
                wrong += f_failureOf([&] { change(owner); }).has_value();
                --changing;
            });
            threads.emplace_back([&] { wrong += f_failureOf(list).has_value(); });
        }
    }
    EXPECT_EQ(0, wrong);
    EXPECT_EQ(2u, ICRegistry::mf_getSubKeyCount(m_path, HKLM));
}
