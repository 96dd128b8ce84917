#include "programs/hsmscan/ICSettings.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "hsmbase/failure/ICBuffer.h"
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICFileSize.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/registry/ICRegistry.h"
#include "hsmbase/registry/ICRegistryBackup.h"
#include "programs/hsmscan/ICFileTransaction.h"

namespace
{

constexpr wchar_t SECTION[] = L"[HKEY_LOCAL_MACHINE\\";
constexpr wchar_t NUMBER[] = L"dword:";
constexpr wchar_t TEXT_MARK[] = L"text:";
constexpr int BYTE_ORDER_MARK = 2; // bytes

HKEY const MACHINE = HKEY_LOCAL_MACHINE;

bool f_begins(CString const & text, wchar_t const * beginning)
{
    return std::wcsncmp(text, beginning, std::wcslen(beginning)) == 0;
}

using LIST = void (*)(CString const & path, ICArray<CString *, CString *> & result, HKEY const key);

std::vector<CString> f_names(LIST list, CString const & path)
{
    struct OWNED : ICArray<CString *, CString *>
    {
        ~OWNED()
        {
            for (INT_PTR index = 0; index < GetCount(); ++index)
                delete GetAt(index);
        }
    } found;
    list(path, found, MACHINE);
    std::vector<CString> names;
    for (INT_PTR index = 0; index < found.GetCount(); ++index)
        names.push_back(*found[index]);
    return names;
}

CString f_below(CString const & path, CString const & relative)
{
    return relative.IsEmpty() ? path : ICPath::mf_appendComponent(path, relative);
}

// Does a step with each value of a key and of all keys below it; `relative` is the key's path below `path`.
template<class STEP>
void f_forEachValue(CString const & path, CString const & relative, STEP const & step)
{
    CString const key = f_below(path, relative);
    for (CString const & name : f_names(&ICRegistry::mf_getSubValues, key))
        step(name, relative);
    for (CString const & name : f_names(&ICRegistry::mf_getSubKeys, key))
        if (!f_begins(name, L"."))
            f_forEachValue(path, relative.IsEmpty() ? name : ICPath::mf_appendComponent(relative, name), step);
}

void f_removeKey(CString const & name, CString const & parent)
{
    CString const key = ICPath::mf_appendComponent(parent, name);
    if (!ICRegistry::mf_PathExists(key, MACHINE)) return;
    for (CString const & sub : f_names(&ICRegistry::mf_getSubKeys, key))
        f_removeKey(sub, key);
    ICRegistry::mf_delete(name, parent, MACHINE);
}

// The key for the strings, which is there as long as the object lives.
class ICScratchKey
{
public:
    ICScratchKey() { f_removeKey(NAME, m_root); }
    ICScratchKey(ICScratchKey const &) = delete;
    ICScratchKey & operator=(ICScratchKey const &) = delete;
    ~ICScratchKey()
    {
        try {
            f_removeKey(NAME, m_root);
        }
        catch (ICErrno &) {
            // It has left its trace. The next operation removes it.
        }
    }

    CString const & mf_getRoot() const { return m_root; }
    CString const & mf_getPath() const { return m_path; }

private:
    static constexpr wchar_t NAME[] = L".settings";

    CString const m_root = ICRegistry::mf_getRegistryRoot(CString());
    CString const m_path = ICPath::mf_appendComponent(m_root, NAME);
};

CString f_encode(CString const & name, CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICSettings::mf_save";
    ulong type = REG_NONE;
    ::RegGetValueW(MACHINE, path, name, RRF_RT_ANY | RRF_NOEXPAND, &type, nullptr, nullptr);
    if (type == REG_DWORD) {
        ulong number = 0;
        ICRegistry::mf_getValue(name, number, path, MACHINE);
        CString text;
        text.Format(L"%s%08lx", NUMBER, number);
        return text;
    }
    if (type != REG_SZ && type != REG_EXPAND_SZ)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Unexpected, L"Setting '%s\\%s' is neither text nor number", path, name);
    CString text;
    ICRegistry::mf_getValue(name, text, path, MACHINE);
    if (name.FindOneOf(L"=\r\n") >= 0 || text.FindOneOf(L"\r\n") >= 0)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Unexpected, L"Setting '%s\\%s' cannot stand in a line", path, name);
    return f_begins(text, NUMBER) || f_begins(text, TEXT_MARK) ? TEXT_MARK + text : text;
}

// A string of the file. What begins like a number must be one.
struct SETTING
{
    explicit SETTING(CString const & stored)
    {
        static wchar_t const _sFunction_[] = L"ICSettings::mf_restore";
        constexpr int DIGITS = 8;
        m_isNumber = f_begins(stored, NUMBER);
        m_text = f_begins(stored, TEXT_MARK) ? stored.Mid(static_cast<int>(std::wcslen(TEXT_MARK))) : stored;
        if (!m_isNumber) return;
        CString const digits = stored.Mid(static_cast<int>(std::wcslen(NUMBER)));
        if (digits.GetLength() != DIGITS || digits.SpanIncluding(L"0123456789abcdef") != digits)
            throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::DataCorrupted, L"'%s' is no number", stored);
        m_number = std::wcstoul(digits, nullptr, 16);
    }

    void mf_store(CString const & name, CString const & path) const
    {
        if (m_isNumber)
            ICRegistry::mf_setValue(name, m_number, path, MACHINE);
        else
            ICRegistry::mf_setValue(name, m_text, path, 0, MACHINE);
    }

    bool m_isNumber;
    ulong m_number = 0;
    CString m_text;
};

CString f_textOf(ICBuffer const & backup)
{
    auto const * const bytes = static_cast<unsigned char const *>(backup.mf_getData()) + BYTE_ORDER_MARK;
    int const length = static_cast<int>((backup.mf_getSize() - BYTE_ORDER_MARK) / sizeof(wchar_t));
    CString text;
    std::memcpy(text.GetBuffer(length), bytes, static_cast<std::size_t>(length) * sizeof(wchar_t));
    text.ReleaseBuffer(length);
    return text;
}

void f_fill(ICBuffer & backup, CString const & text)
{
    auto const bytes = static_cast<std::size_t>(text.GetLength()) * sizeof(wchar_t);
    auto * const data = static_cast<unsigned char *>(backup.mf_create(static_cast<ulong>(BYTE_ORDER_MARK + bytes)));
    data[0] = 0xFF;
    data[1] = 0xFE;
    std::memcpy(data + BYTE_ORDER_MARK, text.GetString(), bytes);
}

// The sections of one key and of all below it become those of another.
CString f_moveSections(CString const & text, CString const & source, CString const & target)
{
    static wchar_t const _sFunction_[] = L"ICSettings::mf_restore";
    CString const section = SECTION + source;
    CString moved;
    int position = 0;
    for (CString line = text.Tokenize(L"\r\n", position); position >= 0; line = text.Tokenize(L"\r\n", position)) {
        if (f_begins(line, L"[")) {
            wchar_t const next = f_begins(line, section) ? line.GetString()[section.GetLength()] : L'\0';
            if (next != L']' && next != L'\\')
                throw ICTrace(_sFunction_)
                    .mf_failed(ICErrno::_E_::DataCorrupted, L"Section '%s' is none of '%s'", line, source);
            line = SECTION + target + line.Mid(section.GetLength());
            moved += L"\r\n";
        }
        moved += line + L"\r\n";
    }
    return moved + L"\r\n";
}

class ICSettingsTransaction : public ICFileTransaction
{
public:
    ICSettingsTransaction(CString const & file, ICBuffer const & content) : ICFileTransaction(file), m_content(content)
    {}

private:
    void mf_implWriteContent() override { mf_implWriteBlock(m_content.mf_getData(), m_content.mf_getSize()); }

    ICBuffer const & m_content;
};

} // namespace

void ICSettings::mf_save(CString const & file)
{
    ICBuffer content;
    {
        ICScratchKey const scratch;
        f_forEachValue(scratch.mf_getRoot(), CString(), [&scratch](CString const & name, CString const & relative) {
            CString const text = f_encode(name, f_below(scratch.mf_getRoot(), relative));
            ICRegistry::mf_setValue(name, text, f_below(scratch.mf_getPath(), relative), 0, MACHINE);
        });
        ICBuffer strings;
        ICRegistryBackup::mf_backup(strings, scratch.mf_getPath(), MACHINE, 0);
        f_fill(content, f_moveSections(f_textOf(strings), scratch.mf_getPath(), scratch.mf_getRoot()));
    }
    ICSettingsTransaction(file, content).mf_executeTransaction();
}

void ICSettings::mf_restore(CString const & file)
{
    void * bytes = nullptr;
    ICFileSize size;
    ICPath::mf_FileToBuffer(file, bytes, size);
    std::unique_ptr<void, void (*)(void *)> const owned(bytes, &std::free);
    ICBuffer content;
    auto const length = static_cast<ulong>(size.mf_getValue());
    if (length > 0) std::memcpy(content.mf_create(length), bytes, length);
    // What is no text of the right encoding is refused before anything is written.
    ICScratchKey const scratch;
    ICBuffer strings;
    bool const isText = length >= BYTE_ORDER_MARK && length % sizeof(wchar_t) == 0 &&
                        std::memcmp(bytes, "\xFF\xFE", BYTE_ORDER_MARK) == 0;
    if (isText) f_fill(strings, f_moveSections(f_textOf(content), scratch.mf_getRoot(), scratch.mf_getPath()));
    ICRegistryBackup::mf_restore(isText ? strings : content);
    if (!ICRegistry::mf_PathExists(scratch.mf_getPath(), MACHINE)) return;

    for (bool const isStored : {false, true})
        f_forEachValue(scratch.mf_getPath(), CString(), [&](CString const & name, CString const & relative) {
            CString text;
            ICRegistry::mf_getValue(name, text, f_below(scratch.mf_getPath(), relative), MACHINE);
            SETTING const setting(text);
            if (isStored) setting.mf_store(name, f_below(scratch.mf_getRoot(), relative));
        });
}
