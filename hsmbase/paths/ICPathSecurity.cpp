// Security descriptors of files.
#include "hsmbase/failure/ICBuffer.h"
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICLongPath.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/paths/internal/ICFirstFailure.h"
#include "hsmbase/paths/internal/PathStep.h"
#include "hsmbase/system/ICSystem.h"

// Which parts of a descriptor are to be set: all but an audit list that it hasn't.
static SECURITY_INFORMATION f_partsOf(wchar_t const * function, void * descriptor, CString const & path)
{
    static constexpr SECURITY_INFORMATION PARTS =
        OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;

    SECURITY_DESCRIPTOR_CONTROL control = 0;
    ulong revision = 0;
    ::SetLastError(0);
    if (!::GetSecurityDescriptorControl(descriptor, &control, &revision)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Security);
        // Setting the descriptor tells whether it mattered.
        ICTrace(function).mf_error(L"Failure extracting control information from security descriptor:\r\n%s%s\r\n"
                                   L"%sConcerned file: '%s', assuming security shall be set",
                                   ICLog::TAB, failure.mf_toString(), ICLog::TAB, path);
        control = SE_SACL_PRESENT;
    }
    return control & SE_SACL_PRESENT ? PARTS | SACL_SECURITY_INFORMATION : PARTS;
}

void ICPath::mf_setSecurityDescriptor(CString const & path, ICBuffer const & descriptor)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_setSecurityDescriptor";

    if (path.IsEmpty()) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"Path is empty");
    if (!descriptor.mf_isInitialized())
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"Security descriptor not initialized");

    // The platform takes it without const, and leaves it as it is.
    void * const bytes = const_cast<void *>(descriptor.mf_getData());
    CString const longPath = ICLongPath::mf_addLongPathUNCPrefix(path);
    SECURITY_INFORMATION const parts = f_partsOf(_sFunction_, bytes, path);

    ICFirstFailure outcome(_sFunction_);
    if (outcome.mf_run([] { ICSystem::mf_adjustSecurityAccess(1); },
                       L"Failure enabling security privileges for '%s':%s%s", path, ICLog::TAB))
        outcome.mf_call([&] { return ::SetFileSecurityW(longPath, parts, bytes); }, ICErrno::_E_::Security,
                        L"Failure committing security descriptor to file '%s':\r\n%s%s", path, ICLog::TAB);
    outcome.mf_run([] { ICSystem::mf_adjustSecurityAccess(0); }, L"Failure disabling security privileges for '%s':%s%s",
                   path, ICLog::TAB);
    outcome.mf_throw();
}

void ICPath::mf_applySecurityDescriptor(ICBuffer const & descriptor) const
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_applySecurityDescriptor";

    if (!descriptor.mf_isInitialized())
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Initialization, L"Security descriptor buffer not initialized");
    CString const path = mf_getNTFSPath();
    f_step(
        _sFunction_, [&] { mf_setSecurityDescriptor(path, descriptor); },
        L"Failure setting security descriptor for '%s':\r\n%s%s", path, ICLog::TAB);
}
