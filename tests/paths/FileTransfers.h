#pragma once

#include <cstdlib>
#include <string>
#include <vector>

#include "hsmbase/paths/internal/ICFileHandle.h"
#include "tests/support/ICImportPatch.h"

// Sizes where a block of copying and writing begins and ends.
constexpr ulong SIZES_AROUND_THE_BLOCK[] = {0, 1, 65535, 65536, 65537, 200000};

// Bytes of which no two neighbours are equal, nor those at the same place of two blocks.
inline std::string f_content(std::size_t length)
{
    std::string content(length, '\0');
    for (std::size_t at = 0; at < length; ++at)
        content[at] = static_cast<char>(at % 251);
    return content;
}

inline ICFileHandle f_openFile(std::wstring const & path, ulong access = GENERIC_READ | GENERIC_WRITE)
{
    return ICFileHandle(::CreateFileW(path.c_str(), access, FILE_SHARE_READ, nullptr, OPEN_ALWAYS, 0, nullptr));
}

inline void f_setPosition(ICFileHandle const & file, long long position)
{
    LARGE_INTEGER distance;
    distance.QuadPart = position;
    ::SetFilePointerEx(file.mf_get(), distance, nullptr, FILE_BEGIN);
}

inline long long f_positionOf(ICFileHandle const & file)
{
    LARGE_INTEGER position = {};
    ::SetFilePointerEx(file.mf_get(), LARGE_INTEGER{}, &position, FILE_CURRENT);
    return position.QuadPart;
}

// A calloc that has no room for so many bytes; texts and records get theirs.
constexpr std::size_t NO_ROOM_FOR = 54321;

inline void * f_callocOfLittle(std::size_t count, std::size_t size)
{
    return count * size == NO_ROOM_FOR ? nullptr : std::calloc(count, size);
}

// Keeps how much the library asks for with each ReadFile or WriteFile, and answers that all of it was done without
// doing anything, or, for the call that is named, one byte less.
//
//     ICPretendedTransfers const writes(IC_IMPORT(WriteFile), 2);   // the second write is short
//
// The trace log writes too: not for use while it is open.
class ICPretendedTransfers
{
public:
    template<class NAME>
    explicit ICPretendedTransfers(NAME name, std::size_t shortCall = 0)
        : m_patch(name, [this, shortCall](HANDLE, auto *, DWORD length, DWORD * count, OVERLAPPED *) -> BOOL {
              m_lengths.push_back(length);
              *count = m_lengths.size() == shortCall ? length - 1 : length;
              return TRUE;
          })
    {}
    ICPretendedTransfers(ICPretendedTransfers const &) = delete;
    ICPretendedTransfers & operator=(ICPretendedTransfers const &) = delete;

    std::vector<ulong> const & mf_getLengths() const { return m_lengths; }

private:
    std::vector<ulong> m_lengths;
    ICImportPatch const m_patch;
};
