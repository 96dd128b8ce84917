#include "tests/registry/BackupTest.h"

namespace
{

struct RAW_VALUE
{
    std::wstring m_name;
    std::wstring m_text; // as in a STRING_TREE
};

class ICRawKey
{
public:
    explicit ICRawKey(std::wstring const & path) { ::RegOpenKeyExW(HKLM, path.c_str(), 0, KEY_READ, &m_key); }
    ICRawKey(ICRawKey const &) = delete;
    ICRawKey & operator=(ICRawKey const &) = delete;
    ~ICRawKey()
    {
        if (m_key != nullptr) ::RegCloseKey(m_key);
    }

    bool mf_isOpen() const { return m_key != nullptr; }

    std::vector<RAW_VALUE> mf_getValues() const
    {
        std::vector<RAW_VALUE> values;
        for (DWORD index = 0;; ++index) {
            wchar_t name[512];
            static wchar_t text[4096];
            DWORD length = 512;
            DWORD bytes = sizeof text;
            DWORD type = REG_NONE;
            if (::RegEnumValueW(m_key, index, name, &length, nullptr, &type, reinterpret_cast<BYTE *>(text), &bytes) !=
                ERROR_SUCCESS)
                return values;
            std::wstring stored(text, bytes / sizeof(wchar_t));
            if (stored.ends_with(L'\0')) stored.pop_back();
            if (type != REG_SZ) stored = L"<" + std::to_wstring(type) + L">" + stored;
            values.push_back({std::wstring(name, length), stored});
        }
    }

    std::vector<std::wstring> mf_getKeys() const
    {
        std::vector<std::wstring> keys;
        for (DWORD index = 0;; ++index) {
            wchar_t name[512];
            DWORD length = 512;
            if (::RegEnumKeyExW(m_key, index, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
                return keys;
            keys.emplace_back(name, length);
        }
    }

private:
    HKEY m_key = nullptr;
};

// A key ahead of its subkeys, in the platform's order.
template<class VISIT>
void f_visit(std::wstring const & root, std::wstring const & relative, VISIT const & visit)
{
    ICRawKey const key(relative.empty() ? root : root + L"\\" + relative);
    if (!key.mf_isOpen()) return;
    visit(relative, key.mf_getValues());
    for (std::wstring const & name : key.mf_getKeys())
        f_visit(root, relative.empty() ? name : relative + L"\\" + name, visit);
}

std::wstring f_doubled(std::wstring const & text)
{
    std::wstring result;
    for (wchar_t const character : text)
        result.append(character == L'\\' ? 2 : 1, character);
    return result;
}

} // namespace

STRING_TREE f_readTree(std::wstring const & path)
{
    STRING_TREE tree;
    f_visit(path, L"", [&](std::wstring const & relative, std::vector<RAW_VALUE> const & values) {
        KEY_VALUES & key = tree[relative];
        for (RAW_VALUE const & value : values)
            key[value.m_name] = value.m_text;
    });
    return tree;
}

void f_writeTree(std::wstring const & path, STRING_TREE const & tree)
{
    for (auto const & [relative, values] : tree) {
        std::wstring const whole = relative.empty() ? path : path + L"\\" + relative;
        HKEY key = nullptr;
        ASSERT_EQ(ERROR_SUCCESS,
                  ::RegCreateKeyExW(HKLM, whole.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr));
        for (auto const & [name, text] : values)
            EXPECT_EQ(ERROR_SUCCESS,
                      ::RegSetValueExW(key, name.c_str(), 0, REG_SZ, reinterpret_cast<BYTE const *>(text.c_str()),
                                       static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))));
        ::RegCloseKey(key);
    }
}

STRING_TREE f_withoutEmptyKeys(STRING_TREE tree)
{
    auto const isNeeded = [&](std::wstring const & path) {
        std::wstring const parent = path.empty() ? L"" : path + L"\\";
        for (auto const & [other, values] : tree)
            if (!values.empty() && (other == path || other.starts_with(parent))) return true;
        return false;
    };
    STRING_TREE result;
    for (auto const & [path, values] : tree)
        if (isNeeded(path)) result[path] = values;
    return result;
}

std::wstring f_expectedText(std::wstring const & path)
{
    std::wstring text = BACKUP_HEADER;
    f_visit(path, L"", [&](std::wstring const & relative, std::vector<RAW_VALUE> const & values) {
        if (values.empty()) return;
        text += L"[HKEY_LOCAL_MACHINE\\" + (relative.empty() ? path : path + L"\\" + relative) + L"]\r\n";
        for (RAW_VALUE const & value : values)
            text += L"\"" + value.m_name + L"\"=\"" + f_doubled(value.m_text) + L"\"\r\n";
        text += L"\r\n";
    });
    return text;
}
