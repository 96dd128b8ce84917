// A registry tree as text and back, against the bare calls of the platform that this takes: a backup lists the values
// and keys of each key and opens each key anew for each value; a restore creates the key anew for each value.
#include "bench/BenchRegistry.h"
#include "bench/InTurn.h"
#include "hsmbase/failure/ICBuffer.h"
#include "hsmbase/registry/ICRegistry.h"
#include "hsmbase/registry/ICRegistryBackup.h"

namespace
{

constexpr int VALUES_OF_A_KEY = 50;
constexpr int ROUNDS = 11;

// Keys of 50 values below a key of the benchmarks' root. With the object they are gone.
class ICBenchTree
{
public:
    explicit ICBenchTree(int values)
        : m_root((std::wstring(BenchRegistry::ROOT) + L"\\Backup" + std::to_wstring(values)).c_str())
    {
        for (int value = 0; value < values; ++value) {
            std::wstring const key = L"\\Key" + std::to_wstring(value / VALUES_OF_A_KEY);
            if (value % VALUES_OF_A_KEY == 0) m_keys.emplace_back((m_root.GetString() + key).c_str());
            std::wstring const name = L"Value" + std::to_wstring(value);
            m_values.push_back({m_keys.back(), name.c_str(), L"C:\\a directory\\of a usual length"});
        }
        mf_setBare();
    }
    ICBenchTree(ICBenchTree const &) = delete;
    ICBenchTree & operator=(ICBenchTree const &) = delete;
    ~ICBenchTree() { ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, m_root); }

    void mf_backup(ICBuffer & buffer) const
    {
        buffer.mf_delete();
        ICRegistryBackup::mf_backup(buffer, m_root, HKEY_LOCAL_MACHINE, 0);
    }

    // The same calls, with nothing done about what they tell; answers how many values there are.
    static std::size_t mf_readBare(CString const & path)
    {
        std::vector<std::wstring> const names = mf_listBare(path, &mf_nameValue);
        for (std::wstring const & name : names) {
            wchar_t value[512] = {};
            DWORD bytes = sizeof value;
            HKEY key = nullptr;
            ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_QUERY_VALUE, &key);
            ::RegQueryValueExW(key, name.c_str(), nullptr, nullptr, reinterpret_cast<BYTE *>(value), &bytes);
            ::RegCloseKey(key);
        }
        std::size_t count = names.size();
        for (std::wstring const & name : mf_listBare(path, &mf_nameKey))
            count += mf_readBare(path + L"\\" + name.c_str());
        return count;
    }

    void mf_setBare() const
    {
        for (VALUE const & value : m_values) {
            HKEY key = nullptr;
            ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, value.m_path, 0, nullptr, 0, KEY_SET_VALUE, nullptr, &key, nullptr);
            ::RegSetValueExW(key, value.m_name, 0, REG_SZ, reinterpret_cast<BYTE const *>(value.m_text.GetString()),
                             (static_cast<DWORD>(value.m_text.GetLength()) + 1) * sizeof(wchar_t));
            ::RegCloseKey(key);
        }
    }

    CString const m_root;

private:
    struct VALUE
    {
        CString m_path;
        CString m_name;
        CString m_text;
    };
    using NAME_OF = LSTATUS (*)(HKEY key, DWORD index, wchar_t * name, DWORD * length);

    static LSTATUS mf_nameValue(HKEY key, DWORD index, wchar_t * name, DWORD * length)
    {
        return ::RegEnumValueW(key, index, name, length, nullptr, nullptr, nullptr, nullptr);
    }
    static LSTATUS mf_nameKey(HKEY key, DWORD index, wchar_t * name, DWORD * length)
    {
        return ::RegEnumKeyExW(key, index, name, length, nullptr, nullptr, nullptr, nullptr);
    }

    static std::vector<std::wstring> mf_listBare(CString const & path, NAME_OF nameOf)
    {
        std::vector<std::wstring> names;
        HKEY key = nullptr;
        ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key);
        wchar_t name[256];
        for (DWORD length = 256; nameOf(key, static_cast<DWORD>(names.size()), name, &length) == ERROR_SUCCESS;
             length = 256)
            names.emplace_back(name, length);
        ::RegCloseKey(key);
        return names;
    }

    std::vector<CString> m_keys;
    std::vector<VALUE> m_values;
};

void f_measureBackup(int values)
{
    ICBenchTree const tree(values);
    ICBuffer buffer;
    REQUIRE(ICBenchTree::mf_readBare(tree.m_root) == static_cast<std::size_t>(values));
    f_measureInTurn(
        ROUNDS, [&] { tree.mf_backup(buffer); }, [&] { ICBenchTree::mf_readBare(tree.m_root); });
}

void f_measureRestore(int values)
{
    ICBenchTree const tree(values);
    ICBuffer buffer;
    tree.mf_backup(buffer);
    f_measureInTurn(
        ROUNDS, [&] { ICRegistryBackup::mf_restore(buffer); }, [&] { tree.mf_setBare(); });
}

} // namespace

TEST_CASE("back up 1,000 registry values", "[registry][backup][goal:1.2]")
{
    f_measureBackup(1'000);
}

TEST_CASE("back up 10,000 registry values", "[registry][backup][goal:1.2]")
{
    f_measureBackup(10'000);
}

TEST_CASE("restore 1,000 registry values", "[registry][backup][goal:1.2]")
{
    f_measureRestore(1'000);
}

TEST_CASE("restore 10,000 registry values", "[registry][backup][goal:1.2]")
{
    f_measureRestore(10'000);
}

TEST_CASE("back up 10,000 registry values, by ten times 1,000", "[registry][backup][goal:1.1]")
{
    ICBenchTree const large(10'000);
    ICBenchTree const small(1'000);
    ICBuffer buffer;
    f_measureInTurn(
        ROUNDS, [&] { large.mf_backup(buffer); },
        [&] {
            for (int time = 0; time < 10; ++time)
                small.mf_backup(buffer);
        });
}

TEST_CASE("restore 10,000 registry values, by ten times 1,000", "[registry][backup][goal:1.1]")
{
    ICBenchTree const large(10'000);
    ICBenchTree const small(1'000);
    ICBuffer largeText;
    ICBuffer smallText;
    large.mf_backup(largeText);
    small.mf_backup(smallText);
    f_measureInTurn(
        ROUNDS, [&] { ICRegistryBackup::mf_restore(largeText); },
        [&] {
            for (int time = 0; time < 10; ++time)
                ICRegistryBackup::mf_restore(smallText);
        });
}
