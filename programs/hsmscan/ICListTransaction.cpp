#include "programs/hsmscan/ICListTransaction.h"

#include <utility>

#include "hsmbase/failure/internal/ICTrace.h"
#include "programs/hsmscan/FaultPoints.h"

namespace
{

constexpr std::size_t BLOCK = 0x10000;

void f_appendLine(std::string & block, CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICListTransaction::mf_implWriteContent";
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

void ICListTransaction::mf_write(std::vector<CString> const & paths)
{
    m_paths = paths;
    mf_executeTransaction();
}

void ICListTransaction::mf_implWriteContent()
{
    std::span<CString const> const paths = std::exchange(m_paths, {});
    f_throwAt(WRITE_LIST);
    std::string block;
    for (CString const & path : paths) {
        f_appendLine(block, path);
        if (block.size() < BLOCK) continue;
        mf_implWriteBlock(block.data(), block.size());
        block.clear();
    }
    if (!block.empty()) mf_implWriteBlock(block.data(), block.size());
}

void ICListTransaction::mf_implBeforeMove()
{
    f_throwAt(MOVE_LIST);
}
