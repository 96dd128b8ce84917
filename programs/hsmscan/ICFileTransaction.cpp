#include "programs/hsmscan/ICFileTransaction.h"

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICLongPath.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/paths/internal/ICFirstFailure.h"

ICFileTransaction::ICFileTransaction(CString const & file) : ICTransaction(1), m_sFile(file)
{
    mf_implSetDescription(L"file " + file);
    mf_implAddTransactionStep(STEP_CREATE, L"make temporary file");
    mf_implAddTransactionStep(STEP_WRITE, L"write temporary file");
    mf_implAddTransactionStep(STEP_MOVE, L"move it in place");
}

ICFileTransaction::~ICFileTransaction()
{
    ulong const lastError = ::GetLastError();
    try {
        if (mf_isActive())
            mf_implUndo(ICErrno::_E_::Interrupted);
        else
            mf_implRemove();
    }
    catch (...) {
        // The trace has it, and there is nobody left to tell.
    }
    ::SetLastError(lastError);
}

void ICFileTransaction::mf_prepare()
{
    mf_startTransaction();
    mf_implRun(STEP_CREATE, [this] { mf_implCreate(); });
}

void ICFileTransaction::mf_executeTransaction()
{
    if (!mf_isActive()) mf_prepare();
    mf_implRun(STEP_WRITE, [this] { mf_implWrite(); });
    mf_implRun(STEP_MOVE, [this] { mf_implMove(); });
    mf_completeTransaction();
}

template<class WORK>
void ICFileTransaction::mf_implRun(ulong step, WORK const & work)
{
    try {
        mf_implStartTransactionStep(step);
        work();
        mf_implCompleteTransactionStep(step, ICErrno::_I_::Ok);
    }
    catch (ICErrno & failure) {
        mf_implUndo(failure.mf_getErrnoData());
        throw;
    }
    catch (...) {
        mf_implUndo(ICErrno::_E_::Unexpected);
        throw;
    }
}

void ICFileTransaction::mf_implUndo(ICErrnoData const & reason)
{
    mf_abortTransaction(reason);
    mf_rollbackTransaction();
}

// What the second step has written goes with the file. The third one does nothing that could be undone: it fails, or
// the file is there.
void ICFileTransaction::mf_implRollbackStep(ulong id)
{
    if (id == STEP_CREATE) mf_implRemove();
}

void ICFileTransaction::mf_implCreate()
{
    static wchar_t const _sFunction_[] = L"ICFileTransaction::mf_implCreate";

    m_sTarget = ICPath::mf_getAbsolutePath(m_sFile);
    mf_implCheckTarget();
    CString const temporary = ICPath::mf_getAsideTempPath(m_sTarget);
    CString const longPath = ICLongPath::mf_addLongPathUNCPrefix(temporary);
    m_sTemporary = temporary;
    ::SetLastError(0);
    if (!f_open(m_temporary, longPath, GENERIC_WRITE, 0, CREATE_NEW, FILE_ATTRIBUTE_NORMAL)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileOpen);
        // What has the name is another's.
        m_sTemporary.Empty();
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure making file '%s' for '%s':\r\n%s%s", temporary, m_sTarget, ICLog::TAB,
                       failure.mf_toString());
    }
}

// A file that cannot be replaced; what cannot be looked at, the replacement tells.
void ICFileTransaction::mf_implCheckTarget() const
{
    static wchar_t const _sFunction_[] = L"ICFileTransaction::mf_implCheckTarget";

    if (!ICPath::mf_exists(m_sTarget)) return;
    ulong const attributes = ICPath::mf_getAttributes(m_sTarget, 1);
    if (ICPath::mf_isDirectory(attributes))
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Path, L"'%s' is a directory", m_sTarget);
    if (ICPath::mf_isReadonly(attributes))
        throw ICTrace(_sFunction_)
            .mf_failed(f_systemFailure(ICErrno::_E_::FileAccess, ERROR_ACCESS_DENIED), L"'%s' is read-only", m_sTarget);
}

void ICFileTransaction::mf_implWrite()
{
    static wchar_t const _sFunction_[] = L"ICFileTransaction::mf_implWrite";

    ICFirstFailure outcome(_sFunction_);
    if (outcome.mf_run([this] { mf_implWriteContent(); }))
        outcome.mf_call([this] { return ::FlushFileBuffers(m_temporary.mf_get()); }, ICErrno::_E_::FileWrite,
                        L"Failure flushing file '%s' for '%s':\r\n%s%s", m_sTemporary, m_sTarget, ICLog::TAB);
    outcome.mf_close(m_temporary, ICErrno::_E_::FileClose, L"Failure closing file '%s' for '%s':\r\n%s%s", m_sTemporary,
                     m_sTarget, ICLog::TAB);
    outcome.mf_throw();
}

void ICFileTransaction::mf_implWriteBlock(void const * bytes, std::size_t size)
{
    static wchar_t const _sFunction_[] = L"ICFileTransaction::mf_implWriteBlock";

    mf_tryCancel();
    if (!f_write(m_temporary.mf_get(), bytes, static_cast<ulong>(size))) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileWrite);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure writing file '%s' for '%s':\r\n%s%s", m_sTemporary, m_sTarget, ICLog::TAB,
                       failure.mf_toString());
    }
}

void ICFileTransaction::mf_implMove()
{
    static wchar_t const _sFunction_[] = L"ICFileTransaction::mf_implMove";

    mf_tryCancel();
    // Hours may have passed.
    mf_implCheckTarget();
    mf_implBeforeMove();
    CString const longTemporary = ICLongPath::mf_addLongPathUNCPrefix(m_sTemporary);
    CString const longTarget = ICLongPath::mf_addLongPathUNCPrefix(m_sTarget);
    ::SetLastError(0);
    if (!::MoveFileExW(longTemporary, longTarget, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileMove);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure moving file in place:\r\n%s%s\r\n%s'%s' -> '%s'", ICLog::TAB,
                       failure.mf_toString(), ICLog::TAB, m_sTemporary, m_sTarget);
    }
    m_sTemporary.Empty();
}

// The temporary file, if there is one. What can't be removed stays to be removed by another call.
void ICFileTransaction::mf_implRemove()
{
    static wchar_t const _sFunction_[] = L"ICFileTransaction::mf_implRemove";

    if (m_sTemporary.IsEmpty()) return;
    ICFirstFailure outcome(_sFunction_);
    if (m_temporary.mf_isOpen())
        outcome.mf_close(m_temporary, ICErrno::_E_::FileClose, L"Failure closing file '%s' for '%s':\r\n%s%s",
                         m_sTemporary, m_sTarget, ICLog::TAB);
    if (outcome.mf_run([this] { ICPath::mf_rm(m_sTemporary, 0); })) m_sTemporary.Empty();
    outcome.mf_throw();
}
