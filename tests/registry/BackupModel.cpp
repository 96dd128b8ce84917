#include "tests/registry/BackupModel.h"

#include <algorithm>
#include <optional>

using namespace std::literals;

namespace
{

// Without letters that have two cases: names that differ are different names.
constexpr std::wstring_view SIGNS = L"abcxyz019  ..;@[]#%'\"\"\"\t\x01\u5B57\u3042\u05D0\xD83D\xDE00";

std::wstring f_replaced(std::wstring text, std::wstring_view from, std::wstring_view to)
{
    for (std::size_t at = text.find(from); at != text.npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

std::vector<std::wstring> f_split(std::wstring_view text)
{
    // A line ends at CR, LF or NUL. Behind a line's end, CR and LF are passed over, a NUL isn't.
    std::vector<std::wstring> lines;
    for (;;) {
        std::size_t const begin = std::min(text.find_first_not_of(L"\r\n"), text.size());
        text.remove_prefix(begin);
        if (text.empty()) return lines;
        std::size_t const end = std::min(text.find_first_of(L"\r\n\0"sv), text.size());
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

class ICReaderModel
{
public:
    // What the line throws.
    OUTCOME mf_read(std::wstring const & line)
    {
        if (line.size() < 2) return CORRUPTED;
        if (line.front() == L'[' && line.back() == L']') return mf_implSection(line);
        if (line.front() == L'"' && line.back() == L'"') return mf_implValue(line);
        return CORRUPTED;
    }

    std::vector<BACKUP_WRITE> m_writes;

private:
    OUTCOME mf_implSection(std::wstring const & line)
    {
        std::size_t const delimiter = line.find(L'\\');
        if (delimiter == line.npos) return CORRUPTED;
        std::wstring const root(line.begin() + 1, line.begin() + static_cast<std::ptrdiff_t>(delimiter));
        m_path.assign(line.begin() + static_cast<std::ptrdiff_t>(delimiter) + 1, line.end() - 1);
        m_key = nullptr;
        if (root == L"HKLM" || root == L"HKEY_LOCAL_MACHINE") m_key = HKEY_LOCAL_MACHINE;
        if (root == L"HKCU" || root == L"HKEY_CURRENT_USER") m_key = HKEY_CURRENT_USER;
        return {};
    }

    OUTCOME mf_implValue(std::wstring const & line)
    {
        std::size_t const sign = line.find(L'=');
        if (sign == line.npos) return CORRUPTED;
        if (line[sign - 1] != L'"' || line[sign + 1] != L'"') return CORRUPTED;
        std::wstring const name = sign > 2 ? line.substr(1, sign - 2) : L"";
        std::wstring const value = sign + 3 < line.size() ? line.substr(sign + 2, line.size() - sign - 3) : L"";
        if (m_key == nullptr) return f_registryFailure(ERROR_INVALID_HANDLE);
        std::wstring const path = m_path.empty() ? ICRegistry::mf_getRegistryPath(L"").GetString() : m_path;
        m_writes.push_back({m_key, path, name, f_replaced(value, L"\\\\", L"\\")});
        return {};
    }

    OUTCOME const CORRUPTED = f_ownFailure(ICErrno::_E_::DataCorrupted);
    HKEY m_key = nullptr;
    std::wstring m_path;
};

} // namespace

void PrintTo(BACKUP_WRITE const & write, std::ostream * out)
{
    *out << write.m_key << ' ' << testing::PrintToString(write.m_path) << ' ' << testing::PrintToString(write.m_name)
         << ' ' << testing::PrintToString(write.m_value);
}

BACKUP_EFFECT f_predictRestore(std::string const & bytes)
{
    auto const own = [](ICErrnoValue const & value) { return BACKUP_EFFECT{{}, f_ownFailure(value)}; };
    if (bytes.size() < 2) return own(ICErrno::_E_::Initialization);
    if (bytes.size() % 2 != 0) return own(ICErrno::_E_::DataCorrupted);
    if (bytes[0] == '\0') return own(ICErrno::_E_::Unknown);
    if (bytes.substr(0, 2) != BACKUP_MARK && bytes[1] != '\0') return own(ICErrno::_E_::DataCorrupted);

    std::wstring text(bytes.size() / 2 - 1, L'\0');
    std::memcpy(text.data(), bytes.data() + 2, bytes.size() - 2);
    std::vector<std::wstring> const lines = f_split(text);
    if (lines.empty() || lines[0] != L"Windows Registry Editor Version 5.00") return own(ICErrno::_E_::DataCorrupted);

    ICReaderModel reader;
    for (std::size_t line = 1; line < lines.size(); ++line)
        if (OUTCOME const outcome = reader.mf_read(lines[line])) return {reader.m_writes, outcome};
    return {reader.m_writes, {}};
}

BACKUP_EFFECT f_catchRestore(ICBuffer const & buffer)
{
    BACKUP_EFFECT effect;
    BACKUP_WRITE open{};
    HKEY const opened = reinterpret_cast<HKEY>(&open);
    ICImportPatch const onCreate(IC_IMPORT(RegCreateKeyExW),
                                 [&](HKEY root, LPCWSTR path, DWORD, LPWSTR, DWORD, REGSAM, LPSECURITY_ATTRIBUTES,
                                     PHKEY key, LPDWORD) -> LSTATUS {
                                     if (root == nullptr) return ERROR_INVALID_HANDLE;
                                     open = {root, path, L"", L""};
                                     *key = opened;
                                     return ERROR_SUCCESS;
                                 });
    ICImportPatch const onSet(
        IC_IMPORT(RegSetValueExW),
        [&](HKEY key, LPCWSTR name, DWORD, DWORD type, BYTE const * data, DWORD bytes) -> LSTATUS {
            auto const * const text = reinterpret_cast<wchar_t const *>(data);
            if (key != opened || type != REG_SZ || bytes != 2 * (std::wcslen(text) + 1)) return ERROR_INVALID_PARAMETER;
            effect.m_writes.push_back({open.m_key, open.m_path, name, text});
            return ERROR_SUCCESS;
        });
    ICImportPatch const onClose(IC_IMPORT(RegCloseKey), [&](HKEY key) -> LSTATUS {
        return key == opened ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
    });
    effect.m_outcome = f_failureOf([&] { ICRegistryBackup::mf_restore(buffer); });
    return effect;
}

STRING_TREE f_treeOf(std::vector<BACKUP_WRITE> const & writes, std::wstring const & root)
{
    STRING_TREE tree;
    for (BACKUP_WRITE const & write : writes) {
        EXPECT_EQ(HKEY_LOCAL_MACHINE, write.m_key);
        EXPECT_TRUE((write.m_path + L"\\").starts_with(root + L"\\")) << write.m_path;
        std::wstring path = write.m_path.substr(std::min(root.size() + 1, write.m_path.size()));
        tree[path][write.m_name] = write.m_value;
        while (!path.empty()) {
            std::size_t const delimiter = path.find_last_of(L'\\');
            path.resize(delimiter == path.npos ? 0 : delimiter);
            tree[path];
        }
    }
    return tree;
}

std::wstring ICRandomBackups::mf_implText(std::wstring_view alphabet, std::size_t most)
{
    std::wstring text;
    for (std::size_t count = mf_below(most + 1); count > 0; --count)
        text += alphabet[mf_below(alphabet.size())];
    return text;
}

void ICRandomBackups::mf_implFill(STRING_TREE & tree, std::wstring const & path, int depth)
{
    std::wstring const odd = m_isOdd && mf_below(4) == 0 ? L"=\n\r" : L"";
    std::wstring const signs = std::wstring(SIGNS) + L"\\\\\\" + odd;
    KEY_VALUES & values = tree[path];
    for (unsigned int count = mf_below(6); count > 0; --count)
        values[mf_implText(signs, 12)] = mf_below(20) ? mf_implText(signs + L"=====", 40) : f_xs(511);
    for (unsigned int count = depth == 0 ? 0 : mf_below(4); count > 0; --count) {
        std::wstring const name = L"k" + mf_implText(std::wstring(SIGNS) + odd, 8);
        mf_implFill(tree, path.empty() ? name : path + L"\\" + name, depth - 1);
    }
}

STRING_TREE ICRandomBackups::mf_tree(bool isOdd)
{
    m_isOdd = isOdd;
    STRING_TREE tree;
    mf_implFill(tree, L"", 3);
    return tree;
}

std::string ICRandomBackups::mf_bytesOf(STRING_TREE const & tree, std::wstring const & root)
{
    std::wstring text = BACKUP_HEADER;
    for (auto const & [path, values] : tree) {
        if (values.empty()) continue;
        text += L"[HKEY_LOCAL_MACHINE\\" + root + (path.empty() ? L"" : L"\\" + path) + L"]\r\n";
        for (auto const & [name, value] : values)
            text += L"\"" + name + L"\"=\"" + f_replaced(value, L"\\", L"\\\\") + L"\"\r\n";
        text += L"\r\n";
    }
    return BACKUP_MARK + f_bytesOf(text);
}

void ICRandomBackups::mf_damage(std::string & bytes)
{
    for (unsigned int count = 1 + mf_below(3); count > 0; --count)
        mf_implDamageOnce(bytes);
}

void ICRandomBackups::mf_implDamageOnce(std::string & bytes)
{
    static constexpr std::wstring_view FOREIGN = L"\"\"\"===[]\\\\\r\n\0\0 aHKLM\xFEFF"sv;
    if (bytes.empty()) return;
    // Most damage goes by whole characters: after any other, all that follows is foreign.
    std::size_t const unit = mf_below(8) == 0 ? 1 : 2;
    auto const somewhere = [&] { return mf_below(bytes.size() / unit + 1) * unit; };
    std::size_t const at = somewhere();
    std::size_t const length = std::min<std::size_t>(unit * (1 + mf_below(mf_below(2) ? 4 : 60)), bytes.size() - at);
    std::size_t const line = std::min(bytes.find(std::string("\n\0", 2), at), bytes.size());
    switch (mf_below(8)) {
    case 0: bytes.resize(at); break;
    case 1: bytes.erase(at, length); break;
    case 2: bytes.erase(at, line - at); break;
    case 3: bytes.insert(somewhere(), bytes.substr(at, length)); break;
    case 4: bytes.insert(somewhere(), bytes.substr(at, line - at)); break;
    case 5:
        std::rotate(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                    bytes.begin() + static_cast<std::ptrdiff_t>(at + length / (2 * unit) * unit),
                    bytes.begin() + static_cast<std::ptrdiff_t>(at + length));
        break;
    case 6: bytes.insert(at, f_bytesOf(FOREIGN.substr(mf_below(FOREIGN.size()), 1 + mf_below(3)))); break;
    default:
        if (at < bytes.size()) bytes[at] = static_cast<char>(mf_below(256));
    }
}
