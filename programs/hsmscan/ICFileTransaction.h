#pragma once

#include "hsmbase/paths/internal/ICFileHandle.h"
#include "hsmbase/threads/ICCancelObject.h"
#include "hsmbase/transactions/ICTransaction.h"

// Writes a file, all of it or nothing. Until the last step an old file stays as it is; what is new stands in a temporary
// file beside it, which a failure, a cancel and the end of the object take away again. A derived class has the content.
//
//     file.mf_installCancelSwitch(&stop);
//     file.mf_prepare();                // now, not after hours, it turns out that nothing can be written there
//     ...
//     file.mf_executeTransaction();
//
// A file that is replaced keeps neither its attributes nor its access list. One that is read-only isn't replaced.
//
// Operations that fail have undone what was done by then. They throw _E_::Path for a directory of the file's name,
// _E_::FileAccess for a read-only file, _E_::FileOpen, _E_::FileWrite, _E_::FileClose and _E_::FileMove, all but the
// first with the system error, _W_::UserCanceled, and what ICPath::mf_getAbsolutePath throws. One object makes one run:
// _E_::Internal for another.
//
// Threads: one.
class ICFileTransaction : public ICTransaction, public ICCancelObject
{
public:
    // A relative path is taken by the directory that is current when the run is prepared.
    explicit ICFileTransaction(CString const & file);
    ICFileTransaction(ICFileTransaction const &) = delete;
    ICFileTransaction & operator=(ICFileTransaction const &) = delete;
    ~ICFileTransaction() override;

    // Starts the run and makes the temporary file.
    void mf_prepare();

    // The whole of the work, or what is left of it once it is prepared. Polls the cancel switch ahead of each block and
    // ahead of the replacement.
    void mf_executeTransaction() override;

protected:
    void mf_implRollbackStep(ulong id) override;

    // Writes all that the file is to hold, by mf_implWriteBlock.
    virtual void mf_implWriteContent() = 0;

    // A safe point.
    void mf_implWriteBlock(void const * bytes, std::size_t size);

    // Ahead of the replacement.
    virtual void mf_implBeforeMove() {}

private:
    static constexpr ulong STEP_CREATE = 1;
    static constexpr ulong STEP_WRITE = 2;
    static constexpr ulong STEP_MOVE = 3;

    template<class WORK>
    void mf_implRun(ulong step, WORK const & work);
    void mf_implUndo(ICErrnoData const & reason);
    void mf_implCreate();
    void mf_implWrite();
    void mf_implMove();
    void mf_implRemove();
    void mf_implCheckTarget() const;

    CString const m_sFile; // as it was given
    CString m_sTarget;     // the same, absolute
    CString m_sTemporary;  // empty while there is none
    ICFileHandle m_temporary;
};
