#include "tests/support/PageGuardHeap.h"
#include "tests/support/internal/ICGuardArena.h"
#include "tests/support/internal/ICImportSlots.h"
#include "tests/support/internal/ICPlatformFunction.h"
#include "winehost/ImportTable.h"

#include <psapi.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <string>
#include <string_view>

namespace
{

constexpr ulong HEAP_CORRUPTION = 0xC0000374;
constexpr std::size_t LARGEST_ALIGNMENT = 16;
constexpr wchar_t RUNTIME[] = L"msvcrt.dll";

// What stands behind: the functions of the run-time library itself.
struct RUNTIME_HEAP
{
    decltype(&::malloc) m_malloc;
    decltype(&::free) m_free;
    decltype(&::realloc) m_realloc;
    decltype(&::_msize) m_msize;
    decltype(&::_aligned_malloc) m_alignedMalloc;
    decltype(&::_aligned_free) m_alignedFree;
    HANDLE m_heap;
};

RUNTIME_HEAP g_runtime{};
bool g_isInstalled = false;

// Straight to the handle: whatever is broken, this still works.
void f_say(char const * format, ...)
{
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    int const length = ::_vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    DWORD written = 0;
    ::WriteFile(::GetStdHandle(STD_ERROR_HANDLE), text, static_cast<DWORD>(std::max(length, 0)), &written, nullptr);
}

[[noreturn]] void f_end(GUARD_FINDING const & finding, void const * block)
{
    f_say("page-guard heap: %p, %lld bytes from the start of a block of %llu bytes: %s\r\n", block, finding.m_offset,
          static_cast<unsigned long long>(finding.m_size), finding.m_text);
    ::RaiseException(HEAP_CORRUPTION, EXCEPTION_NONCONTINUABLE, 0, nullptr);
    std::abort();
}

// Says what the block was before the access violation takes its course.
LONG CALLBACK f_explainFault(EXCEPTION_POINTERS * exception)
{
    EXCEPTION_RECORD const & record = *exception->ExceptionRecord;
    bool const isFault = record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION && record.NumberParameters >= 2;
    if (!isFault) return EXCEPTION_CONTINUE_SEARCH;
    auto const * const address = reinterpret_cast<void const *>(record.ExceptionInformation[1]);
    ICGuardArena const & arena = ICGuardArena::mf_getThis();
    if (!arena.mf_owns(address)) return EXCEPTION_CONTINUE_SEARCH;
    GUARD_FINDING const finding = arena.mf_explain(address);
    f_say("page-guard heap: %s at %lld bytes from the start of a block of %llu bytes: %s\r\n",
          record.ExceptionInformation[0] == 0 ? "read" : "write", finding.m_offset,
          static_cast<unsigned long long>(finding.m_size), finding.m_text);
    return EXCEPTION_CONTINUE_SEARCH;
}

// No object of this size can want more.
std::size_t f_alignmentFor(std::size_t size)
{
    return std::min(std::bit_floor(std::max<std::size_t>(size, 1)), LARGEST_ALIGNMENT);
}

bool f_isGuarded(void const * block)
{
    return ICGuardArena::mf_getThis().mf_owns(block);
}

void f_checkForeign(void const * block)
{
    if (!::HeapValidate(g_runtime.m_heap, 0, block))
        f_end({"free of a pointer that no heap has given out", 0, 0}, block);
}

void * f_allocate(std::size_t size, bool isZero)
{
    void * const block = ICGuardArena::mf_getThis().mf_allocate(size, f_alignmentFor(size), isZero);
    if (block != nullptr) return block;
    void * const unguarded = g_runtime.m_malloc(size);
    if (unguarded != nullptr && isZero) std::memset(unguarded, 0, size);
    return unguarded;
}

void f_guardedFree(void * block)
{
    if (block == nullptr) return;
    ulong const lastError = ::GetLastError();
    if (f_isGuarded(block)) {
        GUARD_FINDING const finding = ICGuardArena::mf_getThis().mf_free(block);
        if (finding.m_text != nullptr) f_end(finding, block);
    } else {
        f_checkForeign(block);
        g_runtime.m_free(block);
    }
    ::SetLastError(lastError);
}

void * f_guardedMalloc(std::size_t size)
{
    return f_allocate(size, false);
}

void * f_guardedCalloc(std::size_t count, std::size_t size)
{
    if (size == 0 || count <= ~std::size_t{0} / size) return f_allocate(count * size, true);
    errno = ENOMEM;
    return nullptr;
}

std::size_t f_guardedSize(void * block)
{
    if (!f_isGuarded(block)) return g_runtime.m_msize(block);
    std::size_t const size = ICGuardArena::mf_getThis().mf_sizeOf(block);
    if (size == ~std::size_t{0}) f_end({"size of something that is not a block", 0, 0}, block);
    return size;
}

void * f_guardedRealloc(void * block, std::size_t size)
{
    if (block == nullptr) return f_allocate(size, false);
    if (!f_isGuarded(block)) {
        f_checkForeign(block);
        return g_runtime.m_realloc(block, size);
    }
    if (size == 0) {
        f_guardedFree(block);
        return nullptr;
    }
    std::size_t const before = f_guardedSize(block);
    void * const moved = f_allocate(size, false);
    if (moved == nullptr) return nullptr;
    std::memcpy(moved, block, std::min(before, size));
    f_guardedFree(block);
    return moved;
}

void * f_guardedAlignedMalloc(std::size_t size, std::size_t alignment)
{
    void * block = nullptr;
    if (alignment <= 0x1000) block = ICGuardArena::mf_getThis().mf_allocate(size, alignment, false);
    return block != nullptr ? block : g_runtime.m_alignedMalloc(size, alignment);
}

void f_guardedAlignedFree(void * block)
{
    if (f_isGuarded(block))
        f_guardedFree(block);
    else
        g_runtime.m_alignedFree(block);
}

template<class CHARACTER>
CHARACTER * f_guardedDuplicate(CHARACTER const * text)
{
    if (text == nullptr) return nullptr;
    std::size_t const size = (std::char_traits<CHARACTER>::length(text) + 1) * sizeof(CHARACTER);
    void * const copy = f_allocate(size, false);
    return copy == nullptr ? nullptr : static_cast<CHARACTER *>(std::memcpy(copy, text, size));
}

struct REPLACEMENT
{
    char const * m_name;
    ANYFUNCTION m_function;
};

template<class FUNCTION>
REPLACEMENT f_replacement(char const * name, FUNCTION * function)
{
    return {name, reinterpret_cast<ANYFUNCTION>(function)};
}

void f_replaceIn(IMPORT const & import)
{
    static REPLACEMENT const replacements[] = {
        f_replacement("malloc", &f_guardedMalloc),
        f_replacement("calloc", &f_guardedCalloc),
        f_replacement("realloc", &f_guardedRealloc),
        f_replacement("free", &f_guardedFree),
        f_replacement("_msize", &f_guardedSize),
        f_replacement("_aligned_malloc", &f_guardedAlignedMalloc),
        f_replacement("_aligned_free", &f_guardedAlignedFree),
        f_replacement("_strdup", &f_guardedDuplicate<char>),
        f_replacement("strdup", &f_guardedDuplicate<char>),
        f_replacement("_wcsdup", &f_guardedDuplicate<wchar_t>),
        f_replacement("wcsdup", &f_guardedDuplicate<wchar_t>),
    };
    if (::_stricmp(import.m_module, "msvcrt.dll") != 0) return;
    for (REPLACEMENT const & replacement : replacements) {
        if (std::string_view(import.m_name) == replacement.m_name)
            f_exchangeImport(import.m_slot, replacement.m_function);
    }
}

// The platform's own modules keep their heap.
bool f_isBesideTheProgram(std::wstring const & path, std::wstring const & program)
{
    std::wstring const folder = program.substr(0, program.rfind(L'\\') + 1);
    return ::_wcsnicmp(path.c_str(), folder.c_str(), folder.size()) == 0;
}

std::wstring f_pathOf(HMODULE module)
{
    wchar_t path[0x1000] = {};
    ::GetModuleFileNameW(module, path, 0x1000);
    return path;
}

void f_replaceEverywhere()
{
    constexpr DWORD MOST_MODULES = 0x400;
    HMODULE modules[MOST_MODULES];
    DWORD size = 0;
    ::EnumProcessModules(::GetCurrentProcess(), modules, sizeof(modules), &size);
    std::wstring const program = f_pathOf(nullptr);
    DWORD const count = std::min(size / static_cast<DWORD>(sizeof(HMODULE)), MOST_MODULES);
    for (DWORD index = 0; index < count; ++index) {
        std::wstring const path = f_pathOf(modules[index]);
        if (!f_isBesideTheProgram(path, program)) continue;
        for (IMPORT const & import : f_importsOf(path.c_str()))
            f_replaceIn(import);
    }
}

} // namespace

void f_installPageGuardHeap()
{
    if (!g_isInstalled) {
        ICGuardArena::mf_getThis();
        g_runtime = {f_platformFunction<decltype(&::malloc)>(RUNTIME, "malloc"),
                     f_platformFunction<decltype(&::free)>(RUNTIME, "free"),
                     f_platformFunction<decltype(&::realloc)>(RUNTIME, "realloc"),
                     f_platformFunction<decltype(&::_msize)>(RUNTIME, "_msize"),
                     f_platformFunction<decltype(&::_aligned_malloc)>(RUNTIME, "_aligned_malloc"),
                     f_platformFunction<decltype(&::_aligned_free)>(RUNTIME, "_aligned_free"),
                     reinterpret_cast<HANDLE>(::_get_heap_handle())};
        ::AddVectoredExceptionHandler(1, &f_explainFault);
        g_isInstalled = true;
    }
    f_replaceEverywhere();
}

bool f_isPageGuardHeapInstalled()
{
    return g_isInstalled;
}
