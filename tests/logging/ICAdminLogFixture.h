#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/logging/ICTestLog.h"
#include "tests/support/ICTracedProcess.h"

// A traced process, and a directory for the administrator's log. What is open at the end is closed, the file too, which
// the log itself leaves open.
class ICAdminLogFixture : public testing::Test
{
protected:
    ICAdminLogFixture() { mf_getRegistry().mf_writeText(L"", L"AdminLogFileDir", m_directory.mf_getPath()); }
    ~ICAdminLogFixture() override { mf_close(); }

    void mf_open(int ucs2 = 0) const
    {
        mf_getRegistry().mf_writeNumber(L"", L"AdminLogFileUcs2", static_cast<ulong>(ucs2));
        ICAdminLog::mf_openLog(L"admin.log");
    }
    static void mf_close()
    {
        if (ICAdminLog::m_pThis == nullptr) return;
        mf_log().mf_implStop();
        ICAdminLog::mf_closeLog();
    }

    static ICAdminLog & mf_log() { return *ICAdminLog::m_pThis; }
    std::string mf_getBytes() const { return f_readFile(m_path); }
    ICRegistrySandbox const & mf_getRegistry() const { return m_process.mf_getRegistry(); }

    ICTemporaryDirectory const m_directory;
    std::wstring const m_path = m_directory / L"admin.log";
    ICTracedProcess const m_process;
};

// A record that owes the administrator a line. NULL: without a number, or a text.
inline ICErrnoData f_owed(wchar_t const * text, wchar_t const * number = L"KVR1E")
{
    ICErrnoData data(ICErrno::_E_::FileOpen);
    data.mf_setKVRNumber(number, 1);
    data.mf_setMessageText(text, 1);
    data.mf_setAdminLogFlag(1);
    return data;
}
