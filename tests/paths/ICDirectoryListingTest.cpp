// What a file system answers is taken as far as it is sound: nothing is read beyond it, whatever it says.
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <random>

#include "hsmbase/paths/ICDirectoryEntries.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/LoggedFailure.h"
#include "tests/support/Thrown.h"

using testing::ElementsAre;

namespace
{

constexpr std::size_t NAME = offsetof(FILE_ID_BOTH_DIR_INFO, FileName);

// An entry as a file system would write it, until a test changes it.
struct FORGED
{
    std::wstring m_name;
    ULONG64 m_id = 1;
    int m_lengthError = 0; // of the name, in bytes, beside the truth
    int m_nextError = 0;   // of the distance to the next entry
};

struct FORGED_BLOCK
{
    FORGED_BLOCK() = default;

    // The last entry says that it is the last one; what it is wrong by is added to that.
    explicit FORGED_BLOCK(std::vector<FORGED> const & entries)
    {
        for (FORGED const & entry : entries) {
            bool const isLast = &entry == &entries.back();
            std::size_t const nameBytes = entry.m_name.size() * sizeof(wchar_t);
            std::size_t const length = (NAME + nameBytes + 7) / 8 * 8;
            FILE_ID_BOTH_DIR_INFO facts = {};
            facts.NextEntryOffset = (isLast ? 0 : static_cast<DWORD>(length)) + static_cast<DWORD>(entry.m_nextError);
            facts.FileNameLength = static_cast<DWORD>(nameBytes) + static_cast<DWORD>(entry.m_lengthError);
            facts.FileId.QuadPart = static_cast<long long>(entry.m_id);
            std::size_t const at = m_bytes.size();
            m_bytes.resize(at + length);
            std::memcpy(m_bytes.data() + at, &facts, NAME);
            std::memcpy(m_bytes.data() + at + NAME, entry.m_name.data(), nameBytes);
        }
    }

    std::vector<unsigned char> m_bytes;
};

// What is read of any directory: these blocks, one a call, and then the end.
class ICForgedListing
{
public:
    explicit ICForgedListing(std::vector<FORGED_BLOCK> blocks)
        : m_blocks(std::move(blocks)),
          m_patch(IC_IMPORT(GetFileInformationByHandleEx), [this](HANDLE, auto, void * block, DWORD size) -> BOOL {
              if (m_read == m_blocks.size()) {
                  ::SetLastError(ERROR_NO_MORE_FILES);
                  return FALSE;
              }
              std::vector<unsigned char> const & bytes = m_blocks[m_read++].m_bytes;
              std::copy_n(bytes.begin(), std::min<std::size_t>(size, bytes.size()),
                          static_cast<unsigned char *>(block));
              return TRUE;
          })
    {}

private:
    std::vector<FORGED_BLOCK> const m_blocks;
    std::size_t m_read = 0;
    ICImportPatch const m_patch;
};

// The names, and "#" with its number for each failure on the way.
std::vector<std::wstring> f_walk(std::vector<FORGED_BLOCK> blocks)
{
    ICForgedListing const forged(std::move(blocks));
    ICDirectoryEntries entries(L"C:\\");
    std::vector<std::wstring> found;
    for (;;) {
        try {
            if (!entries.mf_next()) return found;
            found.emplace_back(entries.mf_getEntry().cFileName);
        }
        catch (ICErrno & failure) {
            EXPECT_EQ(ICErrno::_E_::FileAccess.mf_getNumber(), failure.mf_getErrnoData().mf_getNumber());
            found.push_back(L"#" + std::to_wstring(failure.mf_getErrnoData().mf_getOriginatorErrno()));
        }
    }
}

// An entry "a", and one that ends where the block does.
FORGED_BLOCK f_blockThatEndsIn(FORGED const & entry)
{
    FORGED_BLOCK const last({entry});
    std::size_t const place = 0x10000 - last.m_bytes.size();
    FORGED_BLOCK block({{L"a", 1, 0, static_cast<int>(place)}});
    block.m_bytes.resize(place);
    block.m_bytes.insert(block.m_bytes.end(), last.m_bytes.begin(), last.m_bytes.end());
    EXPECT_EQ(0x10000 - place, NAME + entry.m_name.size() * sizeof(wchar_t)) << "a filling lies behind it";
    return block;
}

std::wstring const CORRUPT = L"#" + std::to_wstring(ERROR_FILE_CORRUPT);
std::wstring const TOO_LONG = L"#" + std::to_wstring(ERROR_FILENAME_EXCED_RANGE);

class ICDirectoryListingTest : public testing::Test
{
protected:
    ICTracedProcess const m_process;
};

} // namespace

TEST_F(ICDirectoryListingTest, SoundBlocks_AreTakenOneAfterTheOther)
{
    EXPECT_THAT(
        f_walk({FORGED_BLOCK({{L"."}, {L".."}, {L"a"}, {L"b"}}), FORGED_BLOCK({{L"c"}}), FORGED_BLOCK({{L"d"}})}),
        ElementsAre(L"a", L"b", L"c", L"d"));
}

// No file system that is known does so.
TEST_F(ICDirectoryListingTest, EntryAtAnOddPlace_IsTaken)
{
    FORGED_BLOCK block({{L"first"}, {L"second", 7}});
    std::size_t const second = (NAME + 10 + 7) / 8 * 8;
    block.m_bytes.insert(block.m_bytes.begin() + static_cast<std::ptrdiff_t>(second), 3, '\0');
    block.m_bytes[0] = static_cast<unsigned char>(second + 3);
    EXPECT_THAT(f_walk({block}), ElementsAre(L"first", L"second"));
}

TEST_F(ICDirectoryListingTest, EntryThatIsMalformed_FailsAndWhatIsReadNextIsTaken)
{
    std::vector<FORGED> const malformed[] = {
        {{L"a"}, {L"bad", 1, 0, 0x10000}, {L"c"}},               // the next one lies beyond the block
        {{L"a"}, {L"bad", 1, 0, -0x10000}, {L"c"}},              // so far that the sum comes round
        {{L"a"}, {L"bad", 1, 0, 1 - 112}, {L"c"}},               // within this one's own numbers
        {{L"a"}, {L"bad", 1, 0, -8}, {L"c"}},                    // within its name
        {{L"a"}, {L"bad", 1, 0x10000, 0}, {L"c"}},               // its name ends beyond the block
        {{L"a"}, {L"bad", 1, -0x100, 0}, {L"c"}},                // so far that the sum comes round
        {{L"a"}, {L"bad", 1, 1, 0}, {L"c"}},                     // half a character
        {{L"a"}, {L"bad", 1, -6, 0}, {L"c"}},                    // no name
        {{L"a"}, {L"", 1, 0, 0}, {L"c"}},                        // the same
        {{L"a"}, {L"bad", 1, 0x10000 - 112 - int{NAME} - 6 + 2}} // it ends one character beyond the block
    };
    for (std::vector<FORGED> const & entries : malformed)
        EXPECT_THAT(f_walk({FORGED_BLOCK(entries), FORGED_BLOCK({{L"d"}})}), ElementsAre(L"a", CORRUPT, L"d"))
            << &entries - malformed;
}

TEST_F(ICDirectoryListingTest, MalformedEntry_IsTold)
{
    ICForgedListing const forged({FORGED_BLOCK({{L"bad", 1, 1}})});
    EXPECT_THAT(m_process.mf_run([] { ICDirectoryEntries(L"C:\\").mf_next(); }),
                f_failsShowing(ICErrno::_E_::FileAccess, ERROR_FILE_CORRUPT, "ICDirectoryEntries::mf_next",
                               "Failure reading directory 'C:\\':\n"));
}

TEST_F(ICDirectoryListingTest, AnswerWithoutEntries_IsMalformed)
{
    EXPECT_THAT(f_walk({FORGED_BLOCK({{L"a"}}), FORGED_BLOCK(), FORGED_BLOCK({{L"b"}})}),
                ElementsAre(L"a", CORRUPT, L"b"));
}

// What says how long its name is lies within the block, the name behind it.
TEST_F(ICDirectoryListingTest, EntryWithoutRoomForItsName_IsMalformed)
{
    constexpr int ROOM = 72;
    FORGED_BLOCK const cut({{L"x"}});
    FORGED_BLOCK block({{L"a", 1, 0, 0x10000 - ROOM}});
    block.m_bytes.resize(0x10000 - ROOM);
    block.m_bytes.insert(block.m_bytes.end(), cut.m_bytes.begin(), cut.m_bytes.begin() + ROOM);
    EXPECT_THAT(f_walk({block, FORGED_BLOCK({{L"d"}})}), ElementsAre(L"a", CORRUPT, L"d"));
}

TEST_F(ICDirectoryListingTest, EntryThatFillsTheBlock_IsTaken)
{
    EXPECT_THAT(f_walk({f_blockThatEndsIn({L"last"})}), ElementsAre(L"a", L"last"));
    EXPECT_THAT(f_walk({f_blockThatEndsIn({L"last", 1, sizeof(wchar_t)}), FORGED_BLOCK({{L"d"}})}),
                ElementsAre(L"a", CORRUPT, L"d"))
        << "its last character lies beyond";
}

// There is room for 259 characters.
TEST_F(ICDirectoryListingTest, NameThatIsTooLong_FailsAndTheNextIsTaken)
{
    std::wstring const longest(259, L'x');
    EXPECT_THAT(f_walk({FORGED_BLOCK({{longest}, {longest + L'x'}, {L"c"}})}), ElementsAre(longest, TOO_LONG, L"c"));
    EXPECT_THAT(f_walk({FORGED_BLOCK({{std::wstring(30000, L'x')}}), FORGED_BLOCK({{L"c"}})}),
                ElementsAre(TOO_LONG, L"c"));
}

TEST_F(ICDirectoryListingTest, IdsAhead_EndAtWhatIsMalformed)
{
    ICForgedListing const forged({FORGED_BLOCK({{L"a", 11}, {L"b", 12}, {L"bad", 13, 1}, {L"c", 14}})});
    ICDirectoryEntries entries(L"C:\\");
    ASSERT_TRUE(entries.mf_next());
    CArray<ULONG64, ULONG64> ids;
    entries.mf_getFileIdsAhead(ids);
    EXPECT_THAT((std::vector(ids.GetData(), ids.GetData() + ids.GetCount())), ElementsAre(11, 12));
}

TEST_F(ICDirectoryListingTest, FirstEntryThatIsMalformed_TellsNoDirectoryId)
{
    ICForgedListing const forged({FORGED_BLOCK({{L".", 11, 1}})});
    ICImportPatch const refused(IC_IMPORT(GetFileInformationByHandle), [](auto...) -> BOOL { return FALSE; });
    EXPECT_EQ(0u, ICDirectoryEntries(L"C:\\").mf_getDirectoryId());
}

TEST_F(ICDirectoryListingTest, DirectoryAbove_TellsNoDirectoryId)
{
    ICForgedListing const forged({FORGED_BLOCK({{L"..", 11}, {L".", 12}})});
    ICImportPatch const told(IC_IMPORT(GetFileInformationByHandle), [](HANDLE, auto * information) -> BOOL {
        *information = {};
        information->nFileIndexHigh = 1;
        information->nFileIndexLow = 2;
        return TRUE;
    });
    EXPECT_EQ(0x1'0000'0002u, ICDirectoryEntries(L"C:\\").mf_getDirectoryId());
}

// These blocks are sound but for some bytes. What is read beyond one ends the program, where the page-guard heap is
// built in.
TEST_F(ICDirectoryListingTest, AnyBytes_EndOrFail)
{
    std::mt19937 random(20'250'101);
    for (int round = 0; round < 200; ++round) {
        std::vector<FORGED> entries;
        for (unsigned int count = random() % 20 + 1; count > 0; --count)
            entries.push_back({std::wstring(random() % 255 + 1, L'n')});
        FORGED_BLOCK block(entries);
        block.m_bytes.resize(0x10000, 0xff);
        for (unsigned int count = random() % 4; count > 0; --count) {
            unsigned int const place = random() % 2 ? random() % 4 : random() % 5000;
            block.m_bytes[place] = static_cast<unsigned char>(random());
        }
        for (std::wstring const & name : f_walk({block}))
            EXPECT_LE(name.size(), 259u);
    }
}
