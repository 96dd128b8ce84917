#pragma once

#include <span>
#include <string>
#include <vector>

#include "programs/hsmscan/ICFileTransaction.h"

// Writes a list of paths to a file, all of it or nothing.
//
//     ICListTransaction list(L"candidates.txt");
//     list.mf_prepare();
//     ...
//     list.mf_write(paths);
//
// Lines are UTF-8 and end in CR and LF, each holds one path. Half of a surrogate pair becomes a replacement character.
// Blocks have some 64 KiB. Throws _E_::Conversion too.
//
// Threads: one.
class ICListTransaction : public ICFileTransaction
{
public:
    using ICFileTransaction::ICFileTransaction;

    // The whole of the work, or what is left of it once it is prepared. Without it, a list is one of no paths.
    void mf_write(std::vector<CString> const & paths);

private:
    void mf_implWriteContent() override;
    void mf_implBeforeMove() override;

    std::span<CString const> m_paths; // not owned, taken by the run
};
