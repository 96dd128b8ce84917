// Each platform call of each operation on keys fails once: no key stays open, and nothing is done by halves.
#include "tests/registry/RegistryTest.h"
#include "tests/support/ICImportSweep.h"

namespace
{

class ICRegistryTreesSweep : public ICRegistryFixture
{
protected:
    std::string mf_tellKey(wchar_t const * key, bool shouldBeThere) const
    {
        if (m_sandbox.mf_hasKey(key) == shouldBeThere) return "";
        return shouldBeThere ? "the key is missing" : "the key is there";
    }

    // Only the looks at a target that may be absent may go wrong in silence.
    static std::string mf_tellEnd(ICSweepRun const & run, bool maySucceed)
    {
        if (run.m_import.empty()) return run.m_end == ICSweepRun::RETURNED ? "" : "failed by itself";
        return run.m_end == ICSweepRun::FAILED || maySucceed ? "" : "no failure";
    }

    CString const m_target = (m_sandbox / L"Target").c_str();
};

} // namespace

TEST_F(ICRegistryTreesSweep, Create)
{
    ICImportSweep sweep("mf_create", [&] { ICRegistry::mf_create(L"New", m_path, HKLM); });
    sweep.m_check = [&](ICSweepRun const & run) {
        return mf_tellEnd(run, false) + mf_tellKey(L"Key\\New", run.m_import != "RegCreateKeyExW");
    };
    sweep.m_settle = [&] { ::RegDeleteTreeW(HKLM, m_path); };
    EXPECT_EQ(2u, sweep.mf_run());
}

TEST_F(ICRegistryTreesSweep, Delete)
{
    ICImportSweep sweep("mf_delete", [&] { ICRegistry::mf_delete(L"Gone", m_path, HKLM); });
    sweep.m_prepare = [&] { m_sandbox.mf_makeKey(L"Key\\Gone"); };
    sweep.m_check = [&](ICSweepRun const & run) {
        return mf_tellEnd(run, false) +
               mf_tellKey(L"Key\\Gone", !run.m_import.empty() && run.m_import != "RegCloseKey");
    };
    EXPECT_EQ(3u, sweep.mf_run());
}

TEST_F(ICRegistryTreesSweep, Listing)
{
    for (wchar_t const * name : {L"A", L"B", L"C"}) {
        m_sandbox.mf_writeNumber(KEY, name, 5);
        m_sandbox.mf_makeKey(std::wstring(KEY) + L"\\" + name);
    }
    for (auto const list : {&ICRegistry::mf_getSubKeys, &ICRegistry::mf_getSubValues}) {
        INT_PTR found = 0;
        ICImportSweep sweep("a list", [&] {
            ICTestList names;
            struct COUNT
            {
                ICTestList const & m_names;
                INT_PTR & m_found;
                ~COUNT() { m_found = m_names.GetCount(); }
            } const count{names, found};
            list(m_path, names, HKLM);
        });
        sweep.m_check = [&](ICSweepRun const & run) {
            INT_PTR expected = 3;
            if (run.m_import == "RegOpenKeyExW") expected = 0;
            if (run.m_import.starts_with("RegEnum")) expected = static_cast<INT_PTR>(run.m_call) - 1;
            return mf_tellEnd(run, false) + (found == expected ? "" : "names are missing");
        };
        EXPECT_EQ(6u, sweep.mf_run());
    }
}

TEST_F(ICRegistryTreesSweep, Counting)
{
    m_sandbox.mf_writeNumber(KEY, L"A", 5);
    for (auto const count : {&ICRegistry::mf_getSubKeyCount, &ICRegistry::mf_getSubValueCount}) {
        ICImportSweep sweep("a count", [&] { count(m_path, HKLM); });
        sweep.m_check = [&](ICSweepRun const & run) { return mf_tellEnd(run, false); };
        EXPECT_EQ(3u, sweep.mf_run());
    }
}

TEST_F(ICRegistryTreesSweep, CopyValues)
{
    for (wchar_t const * name : {L"A", L"B", L"C"})
        m_sandbox.mf_writeText(KEY, name, L"text");
    ICImportSweep sweep("mf_copyValues", [&] { ICRegistry::mf_copyValues(m_path, m_target, 0, HKLM); });
    sweep.m_check = [&](ICSweepRun const & run) {
        std::string copied;
        for (wchar_t const * name : {L"A", L"B", L"C"})
            copied += m_sandbox.mf_readText(L"Target", name) == L"text" ? 'x' : '-';
        // Of the six queries each second one reads; the others look whether the value is there.
        bool const isLook = run.m_import == "RegQueryValueExW" && run.m_call % 2 == 1;
        std::string const wrong = mf_tellEnd(run, isLook);
        if (!wrong.empty()) return wrong;
        if (run.m_end == ICSweepRun::RETURNED && copied != "xxx") return "values are missing: " + copied;
        return copied.find("-x") == std::string::npos ? "" : "a value behind a missing one: " + copied;
    };
    sweep.m_settle = [&] { ::RegDeleteTreeW(HKLM, m_target); };
    EXPECT_EQ(5u + 1 + 4 + 6 + 3 + 6, sweep.mf_run());
}
