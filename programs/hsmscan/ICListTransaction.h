#pragma once

#include <span>
#include <string>
#include <vector>

#include "hsmbase/paths/internal/ICFileHandle.h"
#include "hsmbase/threads/ICCancelObject.h"
#include "hsmbase/transactions/ICTransaction.h"

// Writes a list of paths to a file, all of it or nothing. Until the last step the old list stays as it is; what is new
// stands in a temporary file beside it, which a failure, a cancel and the end of the object take away again.
//
//     ICListTransaction list(L"candidates.txt");
//     list.mf_installCancelSwitch(&stop);
//     list.mf_prepare();                // now, not after hours, it turns out that nothing can be written there
//     ...
//     list.mf_write(paths);
//
// Lines are UTF-8 and end in CR and LF, each holds one path. Half of a surrogate pair becomes a replacement character.
//
// A file that is replaced keeps neither its attributes nor its access list. One that is read-only isn't replaced.
//
// Operations that fail have undone what was done by then. They throw _E_::Path for a directory of the list's name,
// _E_::FileAccess for a read-only list, _E_::FileOpen, _E_::FileWrite, _E_::FileClose and _E_::FileMove, all but the
// first with the system error, _W_::UserCanceled, and what ICPath::mf_getAbsolutePath throws. One object makes one run:
// _E_::Internal for another.
//
// Threads: one.
class ICListTransaction : public ICTransaction, public ICCancelObject
{
public:
    // A relative path is taken by the directory that is current when the run is prepared.
    explicit ICListTransaction(CString const & file);
    ICListTransaction(ICListTransaction const &) = delete;
    ICListTransaction & operator=(ICListTransaction const &) = delete;
    ~ICListTransaction() override;

    // Starts the run and makes the temporary file.
    void mf_prepare();

    // The whole of the work, or what is left of it once it is prepared. Polls the cancel switch ahead of each block of
    // some 64 KiB and ahead of the replacement.
    void mf_write(std::vector<CString> const & paths);

    // The same for a list of no paths.
    void mf_executeTransaction() override;

protected:
    void mf_implRollbackStep(ulong id) override;

private:
    static constexpr ulong STEP_CREATE = 1;
    static constexpr ulong STEP_WRITE = 2;
    static constexpr ulong STEP_MOVE = 3;

    template<class WORK>
    void mf_implRun(ulong step, WORK const & work);
    void mf_implUndo(ICErrnoData const & reason);
    void mf_implCreate();
    void mf_implWrite(std::span<CString const> paths);
    void mf_implWriteLines(std::span<CString const> paths);
    void mf_implWriteBlock(std::string & block);
    void mf_implMove();
    void mf_implRemove();
    void mf_implCheckList() const;

    CString const m_sFile; // as it was given
    CString m_sList;       // the same, absolute
    CString m_sTemporary;  // empty while there is none
    ICFileHandle m_temporary;
    std::span<CString const> m_paths; // not owned, taken by the run
};
