#include "tests/support/ICLeakAccount.h"
#include "tests/support/internal/ICFailure.h"

#include <winternl.h>

#include <algorithm>
#include <iterator>

namespace
{

constexpr std::size_t MOST_DESCRIBED = 20;
constexpr ULONG_PTR MOST_BYTES = 32;

ICLeakItems f_added(ICLeakItems const & before, ICLeakItems const & after)
{
    ICLeakItems added;
    std::set_difference(after.begin(), after.end(), before.begin(), before.end(), std::back_inserter(added));
    return added;
}

std::string f_hex(ULONG_PTR number, std::size_t digits = 1)
{
    std::string text;
    for (; number != 0 || text.size() < digits; number /= 16)
        text.insert(text.begin(), "0123456789ABCDEF"[number % 16]);
    return text;
}

std::string f_describeHandle(LEAK_ITEM const & item)
{
    alignas(UNICODE_STRING) char bytes[0x400] = {};
    ULONG size = 0;
    auto const status =
        ::NtQueryObject(reinterpret_cast<HANDLE>(item.m_key), ObjectTypeInformation, bytes, sizeof(bytes), &size);
    std::string const text = "handle 0x" + f_hex(item.m_key);
    if (status != 0) return text;
    // The name of the type comes first.
    auto const * name = reinterpret_cast<UNICODE_STRING const *>(bytes);
    return text + " " + f_utf8(std::wstring(name->Buffer, name->Length / sizeof(wchar_t)));
}

std::string f_describeBlock(LEAK_ITEM const & item)
{
    std::string text = std::to_string(item.m_size) + " bytes at 0x" + f_hex(item.m_key) + ":";
    unsigned char bytes[MOST_BYTES];
    SIZE_T count = 0;
    // It may be gone since: another thread's, or the text's own.
    ::ReadProcessMemory(::GetCurrentProcess(), reinterpret_cast<void const *>(item.m_key), bytes,
                        std::min(item.m_size, MOST_BYTES), &count);
    std::string readable;
    for (SIZE_T index = 0; index < count; ++index) {
        text += " " + f_hex(bytes[index], 2);
        readable += bytes[index] >= ' ' && bytes[index] < 0x7F ? static_cast<char>(bytes[index]) : '.';
    }
    return text + "  " + readable;
}

std::string f_describeThread(LEAK_ITEM const & item)
{
    return "thread " + std::to_string(item.m_key);
}

template<class DESCRIBE>
std::string f_list(ICLeakItems const & items, DESCRIBE describe)
{
    std::string text;
    for (std::size_t index = 0; index < items.size(); ++index) {
        if (index == MOST_DESCRIBED) return text + "    and more\n";
        text += "    " + describe(items[index]) + "\n";
    }
    return text;
}

} // namespace

constinit ICLeakAccount::EXCUSES ICLeakAccount::s_excuses{};

bool ICLeakAccount::mf_isBalanced()
{
    m_after = ICLeakSnapshot::mf_take();
    return mf_implIsWithin({0, 0, 0});
}

std::string ICLeakAccount::mf_describe() const
{
    return "left behind: " + std::to_string(mf_getHandles()) + " handles, " + std::to_string(mf_getBlocks()) +
           " heap blocks, " + std::to_string(mf_getThreads()) + " threads\n" +
           f_list(f_added(m_before.m_handles, m_after.m_handles), &f_describeHandle) +
           f_list(f_added(m_before.m_blocks, m_after.m_blocks), &f_describeBlock) +
           f_list(f_added(m_before.m_threads, m_after.m_threads), &f_describeThread);
}

void ICLeakAccount::mf_excuse(char const *, long handles, long blocks, long threads)
{
    s_excuses.m_handles += handles;
    s_excuses.m_blocks += blocks;
    s_excuses.m_threads += threads;
}

long ICLeakAccount::mf_implGrowth(ICLeakItems const & before, ICLeakItems const & after)
{
    return static_cast<long>(after.size()) - static_cast<long>(before.size());
}

bool ICLeakAccount::mf_implIsWithin(EXCUSES const & excuses) const
{
    return mf_getHandles() <= excuses.m_handles && mf_getBlocks() <= excuses.m_blocks &&
           mf_getThreads() <= excuses.m_threads;
}
