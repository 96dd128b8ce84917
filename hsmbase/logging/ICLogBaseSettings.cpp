#include "hsmbase/logging/ICLogBase.h"

#include <limits>

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/registry/ICRegistry.h"

static constexpr long long KBYTE = 1024;

// A percent sign as an argument of a trace line.
static constexpr int PERCENT_SIGN = 37;

static CString f_registryRoot()
{
    return ICRegistry::mf_getRegistryRoot(CString());
}

// Failures stay here: the number in hand goes on.
static void f_registerNumber(CString const & valueName, ulong & number, int write)
{
    static wchar_t const _sFunction_[] = L"ICLogBase::mf_implRegisterFileSize";

    try {
        if (write)
            ICRegistry::mf_setValue(valueName, number, f_registryRoot(), HKEY_LOCAL_MACHINE);
        else
            ICRegistry::mf_getOrSetValue(valueName, number, f_registryRoot(), HKEY_LOCAL_MACHINE);
    }
    catch (ICErrno & failure) {
        ICTrace const trace(_sFunction_);
        if (write)
            trace.mf_error(L"Failure writing registry key '%s':\r\n%s%s. Continuing ...", valueName, ICLog::TAB,
                           failure.mf_toString());
        else
            trace.mf_error(L"Failure reading/writing registry key '%s':\r\n%s%s. Continuing ...", valueName, ICLog::TAB,
                           failure.mf_toString());
    }
}

void ICLogBase::mf_implSetFileSize(ICFileSize const & kBytes, ulong percent)
{
    constexpr long long MOST = std::numeric_limits<long long>::max();
    long long const size = kBytes.mf_getValue();
    m_nMaxFileSize = size < MOST / KBYTE ? size * KBYTE : MOST;
    m_ulFilePercent = percent;
}

void ICLogBase::mf_implRegisterFileSize(CString const & sizeValueName, CString const & percentValueName,
                                        ulong minKBytes, ulong maxKBytes, ulong minPercent, ulong maxPercent, int write)
{
    static wchar_t const _sFunction_[] = L"ICLogBase::mf_implRegisterFileSize";

    if (m_nMaxFileSize / KBYTE > MAX_KBYTES) {
        ICTrace(_sFunction_)
            .mf_warning(L"Max log file size exceeds hard limit (%lu kBytes), set to ULONG_MAX (%lu kBytes)", MAX_KBYTES,
                        MAX_KBYTES);
        m_nMaxFileSize = MAX_KBYTES * KBYTE;
    }
    ulong kBytes = static_cast<ulong>(m_nMaxFileSize / KBYTE);
    f_registerNumber(sizeValueName, kBytes, write);
    f_registerNumber(percentValueName, m_ulFilePercent, write);
    m_nMaxFileSize = kBytes * KBYTE;
    mf_implCorrectFileSize(minKBytes, maxKBytes, minPercent, maxPercent);
}

void ICLogBase::mf_implCorrectFileSize(ulong minKBytes, ulong maxKBytes, ulong minPercent, ulong maxPercent)
{
    static wchar_t const _sFunction_[] = L"ICLogBase::mf_implCorrectFileSize";

    long long const kBytes = m_nMaxFileSize / KBYTE;
    if (minKBytes > kBytes) {
        ICTrace(_sFunction_)
            .mf_warning(L"Min log file size below %lu kBytes, set to minimum (%lu kBytes)", minKBytes, minKBytes);
        m_nMaxFileSize = minKBytes * KBYTE;
    }
    if (maxKBytes < kBytes) {
        ICTrace(_sFunction_)
            .mf_warning(L"Min log file size exceeds %lu kBytes, set to maximium (%lu kBytes)", maxKBytes, maxKBytes);
        m_nMaxFileSize = maxKBytes * KBYTE;
    }
    // Deliberate: the two texts about the percentage print the limits of the size.
    if (minPercent > m_ulFilePercent) {
        ICTrace(_sFunction_)
            .mf_warning(L"Min log percent below %lu%c, set to minimum (%lu%c)", minKBytes, PERCENT_SIGN, minKBytes,
                        PERCENT_SIGN);
        m_ulFilePercent = minPercent;
    }
    if (maxPercent < m_ulFilePercent) {
        ICTrace(_sFunction_)
            .mf_warning(L"Max log percent exceeds %lu%c, set to maximum (%lu%c)", maxKBytes, PERCENT_SIGN, maxKBytes,
                        PERCENT_SIGN);
        m_ulFilePercent = maxPercent;
    }
}

// Wrapping and encoding: `field` as 1 or 0 into the registry, or the stored number into `field`. NUMBER is the form in
// which it is read.
template<class NUMBER>
static void f_registerSwitch(wchar_t const * function, CString const & valueName, int & field, int defaultValue,
                             wchar_t const * defaultName, int write)
{
    try {
        if (write) {
            ICRegistry::mf_setValue(valueName, field ? 1 : 0, f_registryRoot(), HKEY_LOCAL_MACHINE);
            return;
        }
        // Deliberate: from 0 and not from the default, so an absent value is created as 0.
        NUMBER number = 0;
        ICRegistry::mf_getOrSetValue(valueName, number, f_registryRoot(), HKEY_LOCAL_MACHINE);
        field = static_cast<int>(number);
    }
    catch (ICErrno & failure) {
        ICTrace const trace(function);
        if (write) {
            trace.mf_error(L"Failure writing registry key %s:\r\n%s%s. Continuing ...", valueName, ICLog::TAB,
                           failure.mf_toString());
            return;
        }
        trace.mf_error(L"Failure reading / writing registry key %s:\r\n%s%s. Assuming %s = %s.", valueName, ICLog::TAB,
                       failure.mf_toString(), valueName, defaultName);
        field = defaultValue;
    }
}

void ICLogBase::mf_implRegisterFileWrap(CString const & valueName, int defaultValue, int write)
{
    static wchar_t const _sFunction_[] = L"ICLogBase::mf_implRegisterFileWrap";
    f_registerSwitch<int>(_sFunction_, valueName, m_bWrap, defaultValue, mf_implGetTruthName(defaultValue), write);
}

void ICLogBase::mf_implRegisterCodepage(CString const & valueName, int defaultValue, int write)
{
    static wchar_t const _sFunction_[] = L"ICLogBase::mf_implRegisterCodepage";
    f_registerSwitch<ulong>(_sFunction_, valueName, m_bUcs2, defaultValue, mf_implGetTruthName(defaultValue), write);
    m_bUcs2 = m_bUcs2 != 0;
}

CString ICLogBase::mf_implResolvePath(CString const & fileName, CString const & dirValueName,
                                      CString const & defaultSubdir) const
{
    CString const root = f_registryRoot();
    CString directory;
    if (ICRegistry::mf_exists(dirValueName, root, HKEY_LOCAL_MACHINE)) {
        ICRegistry::mf_getValue(dirValueName, directory, root, HKEY_LOCAL_MACHINE);
        if (!ICPath::mf_exists(directory))
            if (auto const path = mf_implMakePath(directory, fileName)) return *path;
    } else if (ICRegistry::mf_exists(L"Path", root, HKEY_LOCAL_MACHINE)) {
        ICRegistry::mf_getValue(L"Path", directory, root, HKEY_LOCAL_MACHINE);
        directory += defaultSubdir + L"\\";
        mf_implStoreDirectory(dirValueName, directory);
    } else {
        directory = ICPath::mf_getCurrentDirectory();
        if (ICPath::mf_exists(defaultSubdir)) directory += L"\\" + defaultSubdir + L"\\";
    }
    return ICPath::mf_appendFile(directory, fileName);
}

// The path of the file, whose directory is made. Nothing after a failure, which is told.
std::optional<CString> ICLogBase::mf_implMakePath(CString const & directory, CString const & fileName) const
{
    try {
        ICPath::mf_mkdirs(directory);
        return ICPath::mf_appendFile(directory, fileName);
    }
    catch (ICErrno & failure) {
        mf_implWriteError(CString(L"COULD NOT CREATE LOG FILE DIRECTORY:\r\n") + ICLog::TAB + failure.mf_toString());
        return std::nullopt;
    }
}

void ICLogBase::mf_implStoreDirectory(CString const & valueName, CString const & directory) const
{
    try {
        ICRegistry::mf_setValue(valueName, directory, f_registryRoot(), 0, HKEY_LOCAL_MACHINE);
    }
    catch (ICErrno & failure) {
        mf_implWriteError(L"COULD NOT SET '" + valueName + L"' REGISTRY KEY:\r\n" + ICLog::TAB + failure.mf_toString());
    }
}
