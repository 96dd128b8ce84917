// A million random texts through parsing, composing and all operations on texts: only the failures come out that are
// stated, what was taken apart can be put together, and nothing is read outside of a text (with the page-guard heap).
#include "tests/paths/PathModelTest.h"
#include "tests/support/PageGuardHeap.h"

#include "hsmbase/paths/ICLongPath.h"

#include <algorithm>
#include <random>
#include <stdexcept>

namespace
{

constexpr std::uint64_t SEED = 20261121;

std::wstring_view f_view(CString const & text)
{
    return {text.GetString(), static_cast<std::size_t>(text.GetLength())};
}

bool f_isSame(CString const & left, CString const & right)
{
    return f_view(left) == f_view(right);
}

CString f_upperOf(CString text)
{
    return text.MakeUpper();
}

void f_require(bool isTrue, char const * what)
{
    if (!isTrue) throw std::logic_error(what);
}

// Half of the texts are made of what paths are made of, half of single characters.
class ICRandomPaths
{
public:
    explicit ICRandomPaths(std::uint64_t seed) : m_engine(seed) {}

    CString mf_next()
    {
        std::wstring text = mf_below(2) ? mf_implPath() : mf_implCharacters(mf_below(40));
        // Every other text fills its block to the last character, so that a read behind it meets a page's end.
        if (mf_below(2))
            while (text.size() % 8 != 7)
                text += mf_implCharacter();
        return CString(text.data(), static_cast<int>(text.size()));
    }

    unsigned int mf_below(unsigned int limit) { return static_cast<unsigned int>(m_engine() >> 33) % limit; }

private:
    template<std::size_t SIZE>
    std::wstring mf_implOneOf(wchar_t const * const (&pieces)[SIZE])
    {
        return pieces[mf_below(SIZE)];
    }

    wchar_t mf_implCharacter()
    {
        static constexpr wchar_t NASTY[] = L"\\\\\\\\\\\\::$??..// aAdDnNzZ{}*'\"\xD83D\xDE00\x00E4\x0131";
        if (mf_below(16) == 0) return static_cast<wchar_t>(mf_below(0x10000)); // the null character, too
        return NASTY[mf_below(static_cast<unsigned int>(std::size(NASTY)) - 1)];
    }

    std::wstring mf_implCharacters(unsigned int count)
    {
        std::wstring text;
        while (text.size() < count)
            text += mf_implCharacter();
        return text;
    }

    std::wstring mf_implPath()
    {
        static constexpr wchar_t const * LONG[] = {L"", L"", L"", L"\\\\?\\", L"\\\\?\\UNC\\", L"\\\\?"};
        static constexpr wchar_t const * ROOTS[] = {
            L"\\\\host\\",
            L"\\\\HOST\\d$",
            L"\\\\srv\\share",
            L"\\\\\\",
            L"\\\\.\\",
            L"\\\\127.0.0.1\\d$",
            L"\\\\h\xF6st\\s\xDFt",
            L"D:",
            L"d:\\",
            L"N:\\",
            L"Q:",
            L"Volume{6f2b}",
            L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy",
            L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy7",
            L"host\\share",
            L"",
        };
        std::wstring path = mf_implOneOf(LONG) + mf_implOneOf(ROOTS);
        for (unsigned int count = mf_below(6); count > 0; --count)
            path += (mf_below(8) ? L"\\" : L"") + mf_implName();
        if (mf_below(3) == 0) path += L"\\";
        return path;
    }

    std::wstring mf_implName()
    {
        static constexpr wchar_t const * NAMES[] = {L"a",     L"data",     L"Program Files", L"x.txt", L".profile",
                                                    L"a.b.c", L"end.",     L"end ",          L"..",    L".",
                                                    L"NUL",   L"COM1.txt", L"a/b",           L"c$",    L"f:stream",
                                                    L"$",     L":",        L"\xD83D\xDE00",  L"",      L"HOST"};
        if (mf_below(200) == 0) return std::wstring(254 + mf_below(4), L'n');
        return mf_below(10) ? mf_implOneOf(NAMES) : mf_implCharacters(1 + mf_below(4));
    }

    std::mt19937_64 m_engine;
};

// The drive that a text names is its root: D is fixed, N remote, Q a compact disk. All else lies on D.
class ICCheapMachine
{
    static CString mf_rootOf(std::wstring_view path)
    {
        if (path.size() > 1 && path[1] == L':') return CString(path.data(), 2) + L"\\";
        if (!path.starts_with(L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy")) return L"D:\\";
        std::size_t const end = std::min(path.find(L'\\', 47), path.size());
        return CString(path.data(), static_cast<int>(end));
    }

    ICImportPatch const m_onRoot{IC_IMPORT(GetVolumePathNameW), [](wchar_t const * path, wchar_t * root, DWORD length) {
                                     CString const text = mf_rootOf(path);
                                     if (static_cast<DWORD>(text.GetLength()) >= length) {
                                         ::SetLastError(ERROR_FILENAME_EXCED_RANGE);
                                         return FALSE;
                                     }
                                     std::copy_n(text.GetString(), text.GetLength() + 1, root);
                                     return TRUE;
                                 }};
    ICImportPatch const m_onType{IC_IMPORT(GetDriveTypeW), [](wchar_t const * root) -> UINT {
                                     if (root[0] == L'\\') return DRIVE_RAMDISK;
                                     switch (root[0]) {
                                     case L'D':
                                     case L'd': return DRIVE_FIXED;
                                     case L'N':
                                     case L'n': return DRIVE_REMOTE;
                                     default: return root[0] % 9;
                                     }
                                 }};
};

// Runs the operation; answers whether it went well. Of our failures only these may come.
template<class OPERATION>
bool f_succeeds(OPERATION const & operation, std::initializer_list<ulong> allowed)
{
    try {
        operation();
        return true;
    }
    catch (ICErrno & failure) {
        ulong const number = static_cast<ulong>(failure.mf_getNumber());
        f_require(std::find(allowed.begin(), allowed.end(), number) != allowed.end(), "a failure that is not stated");
        return false;
    }
}

// The string refuses an empty text, and no other.
CString f_normalized(CString const & text)
{
    CString normalized;
    HRESULT const failure = f_platformFailure([&] { normalized = ICPath::mf_normalizeDirectory(text); });
    f_require((failure == E_INVALIDARG) == text.IsEmpty(), "normalizing refuses what it should not");
    return normalized;
}

void f_checkPieces(CString const & text)
{
    f_normalized(text);
    CString const file = ICPath::mf_getFilePart(text);
    f_require(f_isSame(text, ICPath::mf_getLocationPart(text) + file), "location and file are not the text");
    f_require(file.Find(L'\\') < 0, "a file with a delimiter");
    f_require(f_view(file).starts_with(f_view(ICPath::mf_getFileBaseName(text))), "base name is no part of the file");
    CString const typeName = ICPath::mf_getFileTypeName(text);
    f_require(typeName.GetLength() < std::max(1, text.GetLength()), "type name is longer than the text");
    CString const rest = ICPath::mf_removeComponent(text);
    f_require(f_view(text).starts_with(f_view(rest)), "the rest is no part of the text");
    f_require(rest.IsEmpty() || (f_view(rest).ends_with(L'\\') && rest.GetLength() < text.GetLength()),
              "the rest is no parent");
}

void f_checkForms(CString const & text)
{
    int const forms = ICPath::mf_isNTFSPathName(text) + ICPath::mf_isUNCPathName(text) +
                      ICPath::mf_isDriverPathName(text) + ICPath::mf_isShadowCopyPathName(text);
    f_require(forms <= 1 && forms == ICPath::mf_isAbsolutePathName(text), "not one form");
    CString const longText = ICLongPath::mf_addLongPathUNCPrefix(text);
    bool const isLong = f_view(longText).starts_with(L"\\\\?\\");
    f_require(isLong || forms == 0, "no long form");
    if (!f_view(text).starts_with(L"\\\\?\\"))
        f_require(f_isSame(text, ICLongPath::mf_removeLongPathUNCPrefix(longText)), "the prefix does not go again");

    std::size_t longest = 0;
    std::size_t length = 0;
    for (wchar_t const character : f_view(text)) {
        length = character == L'\\' ? 0 : length + 1;
        longest = std::max(longest, length);
    }
    f_require(ICPath::mf_isTooLongName(text) == (longest > 255), "wrong about a name's length");

    bool const isKnown = f_succeeds([&] { ICPath::mf_isRootDirectory(text); },
                                    {ICErrno::_E_::Parameter.mf_getNumber(), ICErrno::_E_::Path.mf_getNumber()});
    f_require(isKnown == (text.GetLength() > 2 && forms == 1), "wrong about what may be a root");
    f_succeeds([&] { ICPath::mf_getRelativePath(text); }, {ICErrno::_E_::Path.mf_getNumber()});
}

void f_checkJoints(CString const & first, CString const & second)
{
    CString const joined = ICPath::mf_appendComponent(first, second);
    f_require(f_view(joined).starts_with(f_view(first).substr(0, f_view(first).find_last_not_of(L'\\') + 1)) &&
                  f_view(joined).ends_with(f_view(second)),
              "the joined text lacks one of its parts");
    int const change = joined.GetLength() - first.GetLength() - second.GetLength();
    bool const oneIsEmpty = first.IsEmpty() || second.IsEmpty();
    f_require(oneIsEmpty ? change == 0 : (-1 <= change && change <= 1), "the joined text has another length");

    bool const startsWithDelimiter = f_view(second).starts_with(L'\\');
    CString file;
    bool const isJoined =
        f_succeeds([&] { file = ICPath::mf_appendFile(first, second); }, {ICErrno::_E_::Parameter.mf_getNumber()});
    f_require(isJoined ? f_isSame(file, joined) : startsWithDelimiter, "a file is joined otherwise");

    if (oneIsEmpty) return;
    CString const directory = ICPath::mf_appendDirectory(first, second);
    f_require(f_isSame(directory, f_normalized(joined)), "a directory is joined otherwise");
    f_require(ICPath::mf_isSubDirectory(first, directory) == 1, "what is joined is not below");
    f_require(ICPath::mf_isSubDirectory(second, second) == 1, "a directory is not below itself");
}

// What a form is by the parts, put together in the plainest way.
CString f_uncOf(ICPath const & path)
{
    CString volume = path.mf_getVolumePart();
    if (path.mf_implIsDriveLetterVolume()) volume.SetAt(1, L'$');
    return CString(L"\\\\") + path.mf_getServerPart() + L"\\" + volume + path.mf_getDirectoryPart() +
           path.mf_getFilePart();
}

void f_checkComposing(ICPath const & path)
{
    // Without a server the question whether it is local fails, once.
    f_succeeds([&] { path.mf_isLocal(); }, {ICErrno::_E_::Parameter.mf_getNumber()});
    CString const unc = path.mf_getUNCPath();
    CString const rooted = path.mf_getVolumePart() + path.mf_getDirectoryPart() + path.mf_getFilePart();
    f_require(f_isSame(unc, path.mf_isShadowCopy() ? rooted : f_uncOf(path)), "another UNC form");
    f_require(f_isSame(path.mf_getNTFSPath(), path.mf_isLocal() ? rooted : unc), "another NTFS form");
    f_require(f_isSame(path.mf_getPath(), path.mf_isLocal() ? rooted : unc), "another form");
    f_require(f_isSame(path.mf_getPath(), path.mf_getDirectory() + path.mf_getFilePart()), "another directory");
    f_require(path == ICPath(path) && path.mf_compareNoCase(path) == 0, "not equal to itself");
}

// A text with delimiters as they should be comes back by its forms.
void f_checkComingBack(CString const & text, ICPath const & path)
{
    bool const hasNull = f_view(text).find(L'\0') != std::wstring_view::npos;
    bool const hasNumber = !path.mf_isShadowCopy() || path.mf_getVolumePart().GetLength() > 46;
    if (hasNull || !hasNumber || path.mf_getDirectoryPart()[0] != L'\\') return;
    CString const shortText = ICLongPath::mf_removeLongPathUNCPrefix(text);
    if (ICPath::mf_isUNCPathName(shortText)) {
        bool const hasDirectory = shortText.Find(L'\\', shortText.Find(L'\\', 2) + 1) > 0;
        CString const directory = hasDirectory ? f_normalized(shortText) : shortText + L'\\';
        CString const expected = path.mf_isFile() ? shortText : directory;
        CString const unc = f_upperOf(path.mf_getUNCPath());
        CString given = f_upperOf(expected);
        if (path.mf_implIsDriveLetterVolume()) given.SetAt(path.mf_getServerPart().GetLength() + 4, L'$');
        f_require(f_isSame(given, unc), "parsed and composed, but not the text");
    }
    if (path.mf_isShadowCopy() && path.mf_isFile())
        f_require(f_isSame(shortText, path.mf_getPath()), "another shadow copy");

    ICPath again;
    again.mf_initialize(path.mf_getUNCPath(), path.mf_isFile());
    f_require(f_isSame(again.mf_getUNCPath(), path.mf_getUNCPath()), "the UNC form does not come back");
    f_require(f_isSame(again.mf_getFilePart(), path.mf_getFilePart()), "the file does not come back");
}

void f_checkParsing(CString const & text, int isFile)
{
    ICPath path;
    if (!f_succeeds([&] { path.mf_initialize(text, isFile); },
                    {ICErrno::_E_::Parameter.mf_getNumber(), ICErrno::_E_::NotSupported.mf_getNumber(),
                     ICErrno::_E_::Path.mf_getNumber()})) {
        f_require(!ICPath::mf_isUNCPathName(text) || text.Find(L'\\', 2) < 0 || isFile, "a directory that is refused");
        return;
    }
    f_require(f_view(path.mf_getDirectoryPart()).ends_with(L'\\'), "a directory without delimiter at its end");
    f_require(isFile || path.mf_isDirectory(), "a directory with a file");
    f_require(f_isSame(path.mf_getServerPart(), f_upperOf(path.mf_getServerPart())), "a server in lower case");
    f_require(path.mf_isShadowCopy() || f_isSame(path.mf_getVolumePart(), f_upperOf(path.mf_getVolumePart())),
              "a volume in lower case");
    f_checkComposing(path);
    f_checkComingBack(text, path);
}

std::string f_shown(CString const & text)
{
    std::ostringstream stream;
    PrintTo(text, &stream);
    return stream.str();
}

class ICPathRandom : public testing::Test
{
protected:
    // What the library and its run-time find out once is there when the test begins: one that leaves more than it found
    // would be run again.
    static void SetUpTestSuite() { mf_check(1000); }

    static void mf_check(int count)
    {
        ICSimulatedHost const host(L"HOST");
        ICSimulatedShare const share;
        ICCheapMachine const machine;
        ICRandomPaths paths(SEED);
        CString before;
        for (int index = 0; index < count; ++index) {
            CString const text = paths.mf_next();
            try {
                HRESULT const refusal = f_platformFailure([&] {
                    f_checkForms(text);
                    f_checkPieces(text);
                    f_checkJoints(before, text);
                    f_checkParsing(text, static_cast<int>(paths.mf_below(2)));
                });
                f_require(refusal == S_OK, "the string refuses what is not stated");
            }
            catch (std::logic_error & failure) {
                FAIL() << failure.what() << ": " << f_shown(text) << ", behind " << f_shown(before) << ", number "
                       << index << " of seed " << SEED;
            }
            before = text;
        }
    }
};

} // namespace

TEST_F(ICPathRandom, AMillionTexts_FailAsStated_AndComeBack)
{
    // With the page-guard heap each block costs calls of the platform.
    mf_check(f_isPageGuardHeapInstalled() ? 30'000 : 1'000'000);
}
