// Loading files into memory, and writing memory to files.
#include <algorithm>
#include <cstdlib>
#include <memory>

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICLongPath.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/paths/internal/ICFileHandle.h"
#include "hsmbase/paths/internal/ICFirstFailure.h"

// Needs the platform's header ahead of it.
#include <winioctl.h>

// Deliberate: 1 GiB, where the texts say 2 GByte.
static constexpr int SIZE_LIMIT = 0x40000000;
static constexpr ulong READ_PIECE = 32768000;
static constexpr ulong WRITE_BLOCK = 0x10000;

namespace
{
struct FREE
{
    void operator()(void * memory) const { std::free(memory); }
};
} // namespace

// Nothing less than `length` bytes will do. After a failure the thread's last error tells why.
static bool f_readAll(HANDLE file, unsigned char * bytes, ulong length)
{
    for (ulong done = 0; done < length;) {
        ulong const piece = std::min(length - done, READ_PIECE);
        ulong read = 0;
        ::SetLastError(0);
        if (!::ReadFile(file, bytes + done, piece, &read, nullptr) || read != piece) return false;
        done += piece;
    }
    return true;
}

void ICPath::mf_FileToBuffer(CString const & path, void *& buffer, ICFileSize & size)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_FileToBuffer";

    // Deliberate: the size as it comes in, not that of the file.
    if (size >= SIZE_LIMIT)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::FileSizeExceeded, L"File size of source file '%s' exceeds 2 GByte", path);
    buffer = nullptr;
    size = 0;
    ulong const length = mf_getSize(path).mf_get32BitSize();
    std::unique_ptr<void, FREE> content(std::calloc(length, 1));
    if (!content)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Memory,
                       L"Failure allocating memory for file to load into memory\r\n"
                       L"%sbytes to allocate with malloc: %lu\r\n%sfile name: '%s'",
                       ICLog::TAB, length, ICLog::TAB, path);

    CString const longPath = ICLongPath::mf_addLongPathUNCPrefix(path);
    ICFirstFailure outcome(_sFunction_);
    ICFileHandle file;
    if (outcome.mf_call(
            [&] {
                return f_open(file, longPath, FILE_READ_DATA, FILE_SHARE_READ, OPEN_EXISTING,
                              FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_SEQUENTIAL_SCAN);
            },
            ICErrno::_E_::FileAccess, L"Failure opening file '%s':\r\n%s%s", path, ICLog::TAB)) {
        outcome.mf_call([&] { return f_readAll(file.mf_get(), static_cast<unsigned char *>(content.get()), length); },
                        ICErrno::_E_::FileRead, L"Failure reading target file '%s':\r\n%s%s", path, ICLog::TAB);
        outcome.mf_close(file, ICErrno::_E_::FileClose, L"Failure closing file '%s':\r\n%s%s", path, ICLog::TAB);
    }
    outcome.mf_throw();
    buffer = content.release();
    size = length;
}

static wchar_t const TO_HANDLE[] = L"ICPath::mf_BufferToFile::1";

static void f_setEndOfFile(HANDLE file)
{
    ::SetLastError(0);
    if (!::SetEndOfFile(file)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileAccess);
        throw ICTrace(TO_HANDLE).mf_failed(failure, L"Deleting file content for file failed: %s",
                                           failure.mf_toString());
    }
}

static void f_writeBlocks(HANDLE file, unsigned char const * bytes, ulong length)
{
    for (ulong done = 0; done < length;) {
        ulong const block = std::min(length - done, WRITE_BLOCK);
        if (!f_write(file, bytes + done, block)) {
            ICErrno const failure = f_systemFailure(ICErrno::_E_::FileWrite);
            throw ICTrace(TO_HANDLE).mf_failed(failure, L"Writing %lu byte-block to file failed: %s", block,
                                               failure.mf_toString());
        }
        done += block;
    }
}

static int f_control(HANDLE file, ulong code, FILE_ZERO_DATA_INFORMATION * input, ulong length)
{
    ulong answered = 0;
    ::SetLastError(0);
    return ::DeviceIoControl(file, code, input, length, nullptr, 0, &answered, nullptr);
}

// Deliberate: each step that fails ends it. There is no fallback, whatever the first text says.
static void f_makeSparse(HANDLE file, ICFileSize const & size)
{
    if (!f_control(file, FSCTL_SET_SPARSE, nullptr, 0)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileAccess);
        throw ICTrace(TO_HANDLE).mf_failed(
            failure, L"Setting file to sparse file failed: %s\r\n%sWill zero file size instead of using sparse file.",
            failure.mf_toString(), ICLog::TAB);
    }
    LARGE_INTEGER end;
    end.QuadPart = size.mf_getValue();
    ::SetLastError(0);
    if (!::SetFilePointerEx(file, end, nullptr, FILE_BEGIN)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileAccess);
        throw ICTrace(TO_HANDLE).mf_failed(failure, L"Failure setting file pointer: %s", failure.mf_toString());
    }
    ::SetLastError(0);
    if (!::SetEndOfFile(file)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileAccess);
        throw ICTrace(TO_HANDLE).mf_failed(failure, L"Failure setting EOF position of file: %s", failure.mf_toString());
    }
    FILE_ZERO_DATA_INFORMATION zeroed = {};
    // Deliberate: one past the end.
    zeroed.BeyondFinalZero.QuadPart = size.mf_getValue() + 1;
    if (!f_control(file, FSCTL_SET_ZERO_DATA, &zeroed, sizeof zeroed)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileWrite);
        throw ICTrace(TO_HANDLE).mf_failed(failure, L"Zero-ing content of file failed: %s", failure.mf_toString());
    }
}

void ICPath::mf_BufferToFile(void * const file, void const * data, ICFileSize const & size)
{
    if (file == INVALID_HANDLE_VALUE)
        throw ICTrace(TO_HANDLE).mf_failed(ICErrno::_E_::Parameter, L"Parameter error: Invalid file handle");
    if (size == 0) {
        f_setEndOfFile(file);
    } else if (data == nullptr) {
        f_makeSparse(file, size);
    } else {
        if (size >= SIZE_LIMIT)
            throw ICTrace(TO_HANDLE).mf_failed(ICErrno::_E_::FileSizeExceeded,
                                               L"Buffers with more than 2 GByte not supported");
        f_writeBlocks(file, static_cast<unsigned char const *>(data), size.mf_get32BitSize());
    }
}

void ICPath::mf_BufferToFile(CString const & path, void const * data, ICFileSize const & size)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_BufferToFile::2";

    int const delimiter = path.ReverseFind(L'\\');
    if (delimiter > 0) {
        CString const directory = path.Left(delimiter);
        ICTrace(_sFunction_)
            .mf_debug(L"Checking existence of file '%s'\r\n%sin directory '%s'...", path, ICLog::TAB, directory);
        if (!mf_exists(directory)) {
            ICTrace(_sFunction_).mf_trace(L"Creating directory '%s'", directory);
            mf_mkdirs(directory);
        }
    }

    CString const longPath = ICLongPath::mf_addLongPathUNCPrefix(path);
    ICFirstFailure outcome(_sFunction_);
    ICFileHandle file;
    if (outcome.mf_call(
            [&] { return f_open(file, longPath, FILE_WRITE_DATA, 0, OPEN_ALWAYS, FILE_FLAG_OPEN_REPARSE_POINT); },
            ICErrno::_E_::FileOpen, L"Opening file '%s' failed:\r\n%s%s", path, ICLog::TAB)) {
        outcome.mf_run([&] { mf_BufferToFile(file.mf_get(), data, size); }, L"Failure writing buffer to file '%s': %s",
                       path);
        outcome.mf_close(file, ICErrno::_E_::FileClose, L"Closing file '%s' failed:\r\n%s%s", path, ICLog::TAB);
    }
    outcome.mf_throw();
}
