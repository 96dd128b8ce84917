#pragma once

#include "tests/registry/BackupTest.h"

#include <random>

// Random trees, damaged texts, and the rules of reading once more, for tests that compare.

// One value that a restore writes.
struct BACKUP_WRITE
{
    HKEY m_key;
    std::wstring m_path;
    std::wstring m_name;
    std::wstring m_value;

    bool operator==(BACKUP_WRITE const &) const = default;

    friend void PrintTo(BACKUP_WRITE const & write, std::ostream * out);
};

// What a restore does: its writes, up to the first one that fails, and what it throws.
struct BACKUP_EFFECT
{
    std::vector<BACKUP_WRITE> m_writes;
    OUTCOME m_outcome;

    bool operator==(BACKUP_EFFECT const &) const = default;
};

// What a restore of the bytes must do. Two roots are known, all writes below them succeed.
BACKUP_EFFECT f_predictRestore(std::string const & bytes);

// What it does, with nothing written: the platform's calls are answered here.
BACKUP_EFFECT f_catchRestore(ICBuffer const & buffer);

// The key `root` below HKEY_LOCAL_MACHINE after the writes, if there was none before.
STRING_TREE f_treeOf(std::vector<BACKUP_WRITE> const & writes, std::wstring const & root);

class ICRandomBackups
{
public:
    explicit ICRandomBackups(std::uint64_t seed) : m_engine(seed) {}

    // Names and values of letters, signs, blanks, backslashes, quotes and other scripts. Odd ones also have equal signs
    // in names, and line ends everywhere.
    STRING_TREE mf_tree(bool isOdd);

    // A backup of the tree as the key `root`.
    static std::string mf_bytesOf(STRING_TREE const & tree, std::wstring const & root);

    // Cut, swapped, doubled, overwritten, and with foreign bytes.
    void mf_damage(std::string & bytes);

    unsigned int mf_below(std::size_t limit) { return static_cast<unsigned int>((m_engine() >> 33) % limit); }

private:
    std::wstring mf_implText(std::wstring_view alphabet, std::size_t most);
    void mf_implFill(STRING_TREE & tree, std::wstring const & path, int depth);
    void mf_implDamageOnce(std::string & bytes);

    std::mt19937_64 m_engine;
    bool m_isOdd = false;
};
