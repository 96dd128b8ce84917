// Copying and appending files, by handle and by path.
#include <memory>
#include <new>

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/paths/internal/ICFileHandle.h"
#include "hsmbase/paths/internal/ICFirstFailure.h"
#include "hsmbase/paths/internal/PathStep.h"

static constexpr ulong COPY_BLOCK = 0x10000;

// What a trace line shows of a handle: the system uses no more than 32 bits of it.
static ulong f_shownHandle(void const * file)
{
    return static_cast<ulong>(reinterpret_cast<ULONG_PTR>(file));
}

ICFileSize ICPath::mf_copy(void * const source, void * const target)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_copy::1";

    std::unique_ptr<unsigned char[]> const block(new (std::nothrow) unsigned char[COPY_BLOCK]);
    if (!block)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Memory, L"Malloc returned no memory (%lu bytes)", COPY_BLOCK);

    ICFileSize copied;
    for (;;) {
        ulong length = 0;
        ::SetLastError(0);
        if (!::ReadFile(source, block.get(), COPY_BLOCK, &length, nullptr)) {
            ICErrno const failure = f_systemFailure(ICErrno::_E_::FileRead);
            throw ICTrace(_sFunction_).mf_failed(failure, L"Failure reading source file: %s", failure.mf_toString());
        }
        if (length == 0) return copied;
        if (!f_write(target, block.get(), length)) {
            ulong const systemError = ::GetLastError();
            CString const message = ICErrno::mf_getSystemMessage(systemError);
            throw ICTrace(_sFunction_)
                .mf_failed(ICErrno(ICErrno::_E_::FileWrite, systemError), L"Writing %lu byte-block to file failed: %s",
                           length, message);
        }
        copied += length;
    }
}

ICFileSize ICPath::mf_copy(CString const & source, void * const target)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_copy::2";

    ICFirstFailure outcome(_sFunction_);
    ICFileSize copied;
    void * sourceFile = INVALID_HANDLE_VALUE;
    outcome.mf_run([&] {
        try {
            sourceFile = mf_implOpenSourceFile(source);
            copied = mf_copy(sourceFile, target);
        }
        catch (ICErrno & failure) {
            throw ICTrace(_sFunction_)
                .mf_failed(failure, L"Failure copying '%s'->HANDLE(%8.8x)", source, f_shownHandle(target));
        }
    });
    outcome.mf_run([&] { mf_implCloseFile(sourceFile); }, L"Failure closing source file '%s':\r\n%s%s", source,
                   ICLog::TAB);
    outcome.mf_throw();
    return copied;
}

ICFileSize ICPath::mf_copy(void * const source, CString const & target, int force)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_copy::3";

    ICFirstFailure outcome(_sFunction_);
    ICFileSize copied;
    void * targetFile = INVALID_HANDLE_VALUE;
    outcome.mf_run([&] {
        try {
            targetFile = mf_implOpenTargetFile(target, force);
            // Deliberate: in reverse order. What is open for writing alone is read, so this form fails once its target
            // is made, and callers rely on it.
            copied = mf_copy(targetFile, source);
        }
        catch (ICErrno & failure) {
            throw ICTrace(_sFunction_)
                .mf_failed(failure, L"Failure copying HANDLE(%8.8x)->'%s'", f_shownHandle(source), target);
        }
    });
    outcome.mf_run([&] { mf_implCloseFile(targetFile); }, L"Failure closing target file '%s':\r\n%s%s", target,
                   ICLog::TAB);
    outcome.mf_throw();
    return copied;
}

ICFileSize ICPath::mf_copy(CString const & source, CString const & target, int force)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_copy::4";

    // Deliberate: the name within the directory is composed, for what that leaves in the trace, and not used. Copying
    // into a directory fails at opening it.
    if (mf_exists(target) && mf_isDirectory(target)) mf_appendComponent(target, mf_getFilePart(source));

    ICFirstFailure outcome(_sFunction_);
    ICFileSize copied;
    void * sourceFile = INVALID_HANDLE_VALUE;
    void * targetFile = INVALID_HANDLE_VALUE;
    outcome.mf_run([&] {
        try {
            sourceFile = mf_implOpenSourceFile(source);
            targetFile = mf_implOpenTargetFile(target, force);
            copied = mf_copy(sourceFile, targetFile);
        }
        catch (ICErrno & failure) {
            throw ICTrace(_sFunction_).mf_failed(failure, L"Failure copying '%s' -> '%s'", source, target);
        }
    });
    outcome.mf_run([&] { mf_implCloseFile(targetFile); }, L"Failure closing target file '%s':\r\n%s%s", target,
                   ICLog::TAB);
    outcome.mf_run([&] { mf_implCloseFile(sourceFile); }, L"Failure closing source file '%s':\r\n%s%s", source,
                   ICLog::TAB);
    outcome.mf_throw();
    return copied;
}

ICFileSize ICPath::mf_append(void * const source, void * const target)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_append";

    LARGE_INTEGER end = {};
    ::SetLastError(0);
    if (!::SetFilePointerEx(target, LARGE_INTEGER{}, &end, FILE_END)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileSeek);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure setting file-position to end-of-file:\r\n%s%s", ICLog::TAB,
                       failure.mf_toString());
    }
    return f_step(
        _sFunction_, [&] { return ICFileSize(end.QuadPart) + mf_copy(source, target); },
        L"Failure copying file content to end of file:\r\n%s%s", ICLog::TAB);
}

void * ICPath::mf_implOpenSourceFile(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_implOpenSourceFile";

    ::SetLastError(0);
    void * const file =
        ::CreateFileW(path, GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (file != INVALID_HANDLE_VALUE) return file;

    // Deliberate: without the system's number.
    ICErrno const failure(ICErrno::_E_::FileOpen);
    throw ICTrace(_sFunction_)
        .mf_failed(failure, L"Opening source file '%s' failed:\r\n%s%s", path, ICLog::TAB, failure.mf_toString());
}

void * ICPath::mf_implOpenTargetFile(CString const & path, int force)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_implOpenTargetFile";

    ::SetLastError(0);
    void * const file = ::CreateFileW(path, GENERIC_WRITE, 0, nullptr, force ? CREATE_ALWAYS : CREATE_NEW,
                                      FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (file != INVALID_HANDLE_VALUE) return file;

    ulong const systemError = ::GetLastError();
    ICErrno const failure(systemError == ERROR_FILE_EXISTS ? ICErrno::_E_::FileExists : ICErrno::_E_::FileOpen,
                          systemError);
    throw ICTrace(_sFunction_)
        .mf_failed(failure, L"Opening target file '%s' failed:\r\n%s%s", path, ICLog::TAB, failure.mf_toString());
}

void ICPath::mf_implCloseFile(void * const file)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_implCloseFile";

    ICFileHandle owned(file);
    if (!owned.mf_isOpen()) return;
    ::SetLastError(0);
    if (!owned.mf_close()) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileClose);
        // Deliberate: told in the trace alone. What the copy came to is known by now.
        ICTrace(_sFunction_).mf_error(L"Closing file failed: %s", failure.mf_toString());
    }
}
