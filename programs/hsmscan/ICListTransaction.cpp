#include "programs/hsmscan/ICListTransaction.h"

#include <utility>

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICLongPath.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/paths/internal/ICFirstFailure.h"

namespace
{

constexpr std::size_t BLOCK = 0x10000;

void f_appendLine(std::string & block, CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICListTransaction::mf_implWriteLines";
    // A UTF-16 unit takes at most three bytes in UTF-8.
    int const capacity = 3 * path.GetLength();
    std::size_t const before = block.size();
    block.resize(before + static_cast<std::size_t>(capacity));
    ::SetLastError(0);
    int const length =
        ::WideCharToMultiByte(CP_UTF8, 0, path, path.GetLength(), block.data() + before, capacity, nullptr, nullptr);
    if (length == 0 && capacity != 0) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Conversion);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure converting '%s' to UTF-8: %s", path, failure.mf_toString());
    }
    block.resize(before + static_cast<std::size_t>(length));
    block += "\r\n";
}

} // namespace

ICListTransaction::ICListTransaction(CString const & file) : ICTransaction(1), m_sFile(file)
{
    mf_implSetDescription(L"list " + file);
    mf_implAddTransactionStep(STEP_CREATE, L"make temporary file");
    mf_implAddTransactionStep(STEP_WRITE, L"write temporary file");
    mf_implAddTransactionStep(STEP_MOVE, L"move it in place");
}

ICListTransaction::~ICListTransaction()
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

void ICListTransaction::mf_prepare()
{
    mf_startTransaction();
    mf_implRun(STEP_CREATE, [this] { mf_implCreate(); });
}

void ICListTransaction::mf_write(std::vector<CString> const & paths)
{
    m_paths = paths;
    mf_executeTransaction();
}

void ICListTransaction::mf_executeTransaction()
{
    std::span<CString const> const paths = std::exchange(m_paths, {});
    if (!mf_isActive()) mf_prepare();
    mf_implRun(STEP_WRITE, [&] { mf_implWrite(paths); });
    mf_implRun(STEP_MOVE, [this] { mf_implMove(); });
    mf_completeTransaction();
}

template<class WORK>
void ICListTransaction::mf_implRun(ulong step, WORK const & work)
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

void ICListTransaction::mf_implUndo(ICErrnoData const & reason)
{
    mf_abortTransaction(reason);
    mf_rollbackTransaction();
}

// What the second step has written goes with the file. The third one does nothing that could be undone: it fails, or
// the list is there.
void ICListTransaction::mf_implRollbackStep(ulong id)
{
    if (id == STEP_CREATE) mf_implRemove();
}

void ICListTransaction::mf_implCreate()
{
    static wchar_t const _sFunction_[] = L"ICListTransaction::mf_implCreate";

    m_sList = ICPath::mf_getAbsolutePath(m_sFile);
    mf_implCheckList();
    CString const temporary = ICPath::mf_getAsideTempPath(m_sList);
    CString const longPath = ICLongPath::mf_addLongPathUNCPrefix(temporary);
    m_sTemporary = temporary;
    ::SetLastError(0);
    if (!f_open(m_temporary, longPath, GENERIC_WRITE, 0, CREATE_NEW, FILE_ATTRIBUTE_NORMAL)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileOpen);
        // What has the name is another's.
        m_sTemporary.Empty();
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure making file '%s' for list '%s':\r\n%s%s", temporary, m_sList, ICLog::TAB,
                       failure.mf_toString());
    }
}

// A list that cannot be replaced; what cannot be looked at, the replacement tells.
void ICListTransaction::mf_implCheckList() const
{
    static wchar_t const _sFunction_[] = L"ICListTransaction::mf_implCheckList";

    if (!ICPath::mf_exists(m_sList)) return;
    ulong const attributes = ICPath::mf_getAttributes(m_sList, 1);
    if (ICPath::mf_isDirectory(attributes))
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Path, L"List '%s' is a directory", m_sList);
    if (ICPath::mf_isReadonly(attributes))
        throw ICTrace(_sFunction_)
            .mf_failed(f_systemFailure(ICErrno::_E_::FileAccess, ERROR_ACCESS_DENIED), L"List '%s' is read-only",
                       m_sList);
}

void ICListTransaction::mf_implWrite(std::span<CString const> paths)
{
    static wchar_t const _sFunction_[] = L"ICListTransaction::mf_implWrite";

    ICFirstFailure outcome(_sFunction_);
    if (outcome.mf_run([&] { mf_implWriteLines(paths); }))
        outcome.mf_call([this] { return ::FlushFileBuffers(m_temporary.mf_get()); }, ICErrno::_E_::FileWrite,
                        L"Failure flushing file '%s' for list '%s':\r\n%s%s", m_sTemporary, m_sList, ICLog::TAB);
    outcome.mf_close(m_temporary, ICErrno::_E_::FileClose, L"Failure closing file '%s' for list '%s':\r\n%s%s",
                     m_sTemporary, m_sList, ICLog::TAB);
    outcome.mf_throw();
}

void ICListTransaction::mf_implWriteLines(std::span<CString const> paths)
{
    std::string block;
    for (CString const & path : paths) {
        f_appendLine(block, path);
        if (block.size() >= BLOCK) mf_implWriteBlock(block);
    }
    if (!block.empty()) mf_implWriteBlock(block);
}

void ICListTransaction::mf_implWriteBlock(std::string & block)
{
    static wchar_t const _sFunction_[] = L"ICListTransaction::mf_implWriteBlock";

    mf_tryCancel();
    if (!f_write(m_temporary.mf_get(), block.data(), static_cast<ulong>(block.size()))) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileWrite);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure writing file '%s' for list '%s':\r\n%s%s", m_sTemporary, m_sList, ICLog::TAB,
                       failure.mf_toString());
    }
    block.clear();
}

void ICListTransaction::mf_implMove()
{
    static wchar_t const _sFunction_[] = L"ICListTransaction::mf_implMove";

    mf_tryCancel();
    // Hours may have passed.
    mf_implCheckList();
    CString const longTemporary = ICLongPath::mf_addLongPathUNCPrefix(m_sTemporary);
    CString const longList = ICLongPath::mf_addLongPathUNCPrefix(m_sList);
    ::SetLastError(0);
    if (!::MoveFileExW(longTemporary, longList, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileMove);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure moving list in place:\r\n%s%s\r\n%s'%s' -> '%s'", ICLog::TAB,
                       failure.mf_toString(), ICLog::TAB, m_sTemporary, m_sList);
    }
    m_sTemporary.Empty();
}

// The temporary file, if there is one. What can't be removed stays to be removed by another call.
void ICListTransaction::mf_implRemove()
{
    static wchar_t const _sFunction_[] = L"ICListTransaction::mf_implRemove";

    if (m_sTemporary.IsEmpty()) return;
    ICFirstFailure outcome(_sFunction_);
    if (m_temporary.mf_isOpen())
        outcome.mf_close(m_temporary, ICErrno::_E_::FileClose, L"Failure closing file '%s' for list '%s':\r\n%s%s",
                         m_sTemporary, m_sList, ICLog::TAB);
    if (outcome.mf_run([this] { ICPath::mf_rm(m_sTemporary, 0); })) m_sTemporary.Empty();
    outcome.mf_throw();
}
