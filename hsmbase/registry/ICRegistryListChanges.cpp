// Adding to and removing from stored lists.
#include <type_traits>

#include "hsmbase/registry/internal/ICOwnedStrings.h"
#include "hsmbase/registry/internal/ICRegistryTrace.h"

namespace
{

// One stored list, with the lines for each step that fails.
class ICStoredList
{
public:
    ICStoredList(wchar_t const * function, CString const & name, CString const & path, HKEY key)
        : m_function(function), m_name(name), m_path(path), m_key(key)
    {}

    int mf_exists() const
    {
        return mf_implStep(L"Failure determining if key '%s\\%s' exists:\r\n%s%s",
                           [&] { return ICRegistry::mf_exists(m_name, m_path, m_key); });
    }

    void mf_read(ICOwnedStrings::ARRAY & list) const
    {
        mf_implStep(L"Failure reading key '%s\\%s':\r\n%s%s",
                    [&] { ICRegistry::mf_getValues(m_name, list, m_path, m_key); });
    }

    void mf_write(ICOwnedStrings::ARRAY const & list) const
    {
        mf_implStep(L"Failure writing key '%s\\%s':\r\n%s%s",
                    [&] { ICRegistry::mf_setValues(m_name, list, m_path, m_key); });
    }

private:
    using TEXT = ICTraceFormat<CString, CString, wchar_t const *, CString>;

    template<class STEP>
    std::invoke_result_t<STEP> mf_implStep(TEXT text, STEP step) const
    {
        try {
            return step();
        }
        catch (ICErrno & failure) {
            wchar_t const * const tab = ICLog::TAB;
            throw ICRegistryTrace(m_function)
                .mf_failed(failure, text, m_path, m_name, tab, f_registryTraceText(failure));
        }
    }

    wchar_t const * const m_function;
    CString const & m_name;
    CString const & m_path;
    HKEY const m_key;
};

INT_PTR f_find(ICOwnedStrings::ARRAY const & list, CString const & value, int caseSensitive)
{
    INT_PTR index = 0;
    while (index < list.GetCount() &&
           (caseSensitive != 0 ? list[index]->Compare(value) : list[index]->CompareNoCase(value)) != 0)
        ++index;
    return index;
}

} // namespace

int ICRegistry::mf_appendToValues(CString const & name, CString const & value, CString const & path, HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_appendToValues";
    ICStoredList const stored(_sFunction_, name, path, key);
    ICArray<CString *, CString *> list;
    ICOwnedStrings owner(list);
    if (stored.mf_exists()) stored.mf_read(list);
    owner.mf_add(std::make_unique<CString>(value));
    stored.mf_write(list);
    ICRegistryTrace(_sFunction_)
        .mf_trace(L"Successfully appended value '%s' to registry key '%s\\%s'", value, path, name);
    return 1;
}

int ICRegistry::mf_removeFromValues(CString const & name, CString const & value, CString const & path, HKEY const key,
                                    int caseSensitive)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_removeFromValues";
    ICStoredList const stored(_sFunction_, name, path, key);
    if (!stored.mf_exists()) {
        ICRegistryTrace(_sFunction_).mf_trace(L"Registry key '%s\\%s' does not exist", path, name);
        return 0;
    }
    ICArray<CString *, CString *> list;
    ICOwnedStrings owner(list);
    stored.mf_read(list);
    INT_PTR const index = f_find(list, value, caseSensitive);
    if (index == list.GetCount()) {
        ICRegistryTrace(_sFunction_).mf_trace(L"Registry key '%s\\%s' not found", path, name);
        return 0;
    }
    owner.mf_remove(index);
    stored.mf_write(list);
    ICRegistryTrace(_sFunction_)
        .mf_trace(L"Successfully removed value '%s' from registry key '%s\\%s'", value, path, name);
    return 1;
}
