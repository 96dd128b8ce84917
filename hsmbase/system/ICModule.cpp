#include "hsmbase/system/ICModule.h"

#include <vector>

#include "hsmbase/failure/internal/ICTrace.h"

namespace
{
// What can't be converted gives an empty name, which no library has.
std::vector<char> f_narrowName(CString const & name)
{
    int const size = ::WideCharToMultiByte(CP_THREAD_ACP, 0, name, -1, nullptr, 0, nullptr, nullptr);
    std::vector<char> narrow(static_cast<std::size_t>(size) + 1);
    ::WideCharToMultiByte(CP_THREAD_ACP, 0, name, -1, narrow.data(), size, nullptr, nullptr);
    return narrow;
}
} // namespace

ICModule::ICModule(CString const & name) : m_sName(name)
{
    static wchar_t const _sFunction_[] = L"ICModule::ICModule";
    try {
        mf_implOpen();
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure opening library '%s':\r\n%s", m_sName, failure.mf_toString());
    }
}

ICModule::~ICModule() noexcept(false)
{
    static wchar_t const _sFunction_[] = L"ICModule::~ICModule";
    ulong const lastError = ::GetLastError();
    if (m_hModule == nullptr)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Initialization, L"No module handle for library '%s'", m_sName);
    try {
        mf_implClose();
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure closing library '%s': %s", m_sName, failure.mf_toString());
    }
    ::SetLastError(lastError);
}

FARPROC ICModule::mf_getAddress(CString const & function)
{
    static wchar_t const _sFunction_[] = L"ICModule::mf_getAddress::1";
    if (function.IsEmpty()) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"Empty function name");
    if (m_hModule == nullptr) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"No library handle");

    std::vector<char> const name = f_narrowName(function);
    ::SetLastError(0);
    FARPROC const address = ::GetProcAddress(m_hModule, name.data());
    if (address == nullptr) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::DllFunction);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure getting function address, library='%s',\r\n%sfunction='%s':\r\n%s", m_sName,
                       ICLog::TAB, function, failure.mf_toString());
    }
    return address;
}

FARPROC ICModule::mf_getAddress(CString const & functionTemplate, CString const & part)
{
    static wchar_t const _sFunction_[] = L"ICModule::mf_getAddress::2";
    static constexpr wchar_t MARK[] = L"<IC>";
    static constexpr int MARK_LENGTH = 4;
    int const mark = functionTemplate.Find(MARK);
    if (mark < 0)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Internal, L"No template in function symbol name '%s'", functionTemplate);
    return mf_getAddress(functionTemplate.Left(mark) + part + functionTemplate.Mid(mark + MARK_LENGTH));
}

void ICModule::mf_implOpen()
{
    static wchar_t const _sFunction_[] = L"ICModule::mf_implOpen";
    ::SetLastError(0);
    m_hModule = ::LoadLibraryW(m_sName);
    if (m_hModule == nullptr) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::DllOpen);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure loading library '%s':\r\n%s", m_sName, failure.mf_toString());
    }
    ICTrace(_sFunction_).mf_info(L"Dll '%s' successfully opened", m_sName);
}

void ICModule::mf_implClose()
{
    static wchar_t const _sFunction_[] = L"ICModule::mf_implClose";
    if (m_hModule == nullptr) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"NULL == m_hModule");
    ::SetLastError(0);
    if (!::FreeLibrary(m_hModule)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::DllClose);
        ICTrace(_sFunction_).mf_error(L"Failure unloading library '%s': %s", m_sName, failure.mf_toString());
    }
    // Deliberate: said also after a failure, which is not thrown.
    ICTrace(_sFunction_).mf_info(L"Dll '%s' successfully closed", m_sName);
}
