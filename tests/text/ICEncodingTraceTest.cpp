// The lines of encodings, as a log shows them.
#include "hsmbase/text/ICEncoding.h"
#include "tests/support/ICFailingClose.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/LoggedPlace.h"

using testing::AllOf;
using testing::Contains;

namespace
{

constexpr ulong DENIED = ERROR_ACCESS_DENIED;

// A file of two bytes that say nothing; texts have "@" for its path.
class ICEncodingTrace : public testing::Test
{
protected:
    void mf_get() const { ICEncoding::mf_getFileEncoding(m_path); }

    // The first line's function and text, and that of the operation which passes the failure on.
    void mf_expectUnread(ICErrnoValue const & constant, std::string const & text) const
    {
        SCOPED_TRACE(text);
        EXPECT_THAT(m_process.mf_run([this] { mf_get(); }),
                    AllOf(f_failsShowing(constant, DENIED, "ICEncoding::mf_implReadByteOrderMark", f_at(text, m_path)),
                          f_failsShowing(constant, DENIED, "ICEncoding::mf_getFileEncoding",
                                         f_at("Failure reading first 2 bytes of file '@':\n", m_path))));
    }

    ICTracedProcess const m_process;
    ICTemporaryFile const m_file{std::string_view("\0\0", 2)};
    CString const m_path = m_file.mf_getPath().c_str();
};

ICTracedAction f_tell(ICTracedProcess const & process, unsigned char first, unsigned char second)
{
    return process.mf_run([=] {
        unsigned char const bytes[] = {first, second};
        ICEncoding::mf_getEncoding(bytes);
    });
}

} // namespace

TEST_F(ICEncodingTrace, GuessOfLittleEndian_ShowsTheBytes)
{
    ICTracedAction const outcome = f_tell(m_process, 0x0a, 0);
    EXPECT_FALSE(outcome.m_failure);
    EXPECT_THAT(outcome.m_records,
                Contains(f_isRecord('D', "ICEncoding::mf_getEncoding",
                                    "No byte-order-mark, guessing UCS-2-LE: byte[0]=0x0a, byte[1]=0x00")));
}

TEST_F(ICEncodingTrace, GuessOfBigEndian_IsAnnouncedAndNotMade)
{
    ICTracedAction const outcome = f_tell(m_process, 0, 0xa1);
    EXPECT_THAT(outcome.m_records,
                Contains(f_isRecord('D', "ICEncoding::mf_getEncoding",
                                    "No byte-order-mark, guessing UCS-2-BE: byte[0]=0x00, byte[1]=0xa1")));
    EXPECT_THAT(outcome, f_fails(ICErrno::_E_::Unknown, 'E', "ICEncoding::mf_getEncoding",
                                 "Unknown byte-order-mark: byte[0]=0x00, byte[1]=0xa1"));
}

TEST_F(ICEncodingTrace, FileOfUnknownBytes)
{
    EXPECT_THAT(m_process.mf_run([this] { mf_get(); }),
                AllOf(f_fails(ICErrno::_E_::Unknown, 'E', "ICEncoding::mf_getEncoding",
                              "Unknown byte-order-mark: byte[0]=0x00, byte[1]=0x00"),
                      f_failsShowing(ICErrno::_E_::Unknown, "ICEncoding::mf_getFileEncoding",
                                     f_at("Failure analyzing byte order mark of file '@':\n", m_path))));
}

TEST_F(ICEncodingTrace, FileThatCannotBeRead)
{
    {
        ICImportFault const refused("CreateFileW", DENIED);
        mf_expectUnread(ICErrno::_E_::FileAccess, "Failure opening file '@':\n");
    }
    {
        ICImportFault const refused("ReadFile", DENIED, ICCalls::mf_only(1));
        mf_expectUnread(ICErrno::_E_::FileRead, "Failure reading 2 bytes from file '@':\n");
    }
    ICFailingClose const refused(DENIED);
    mf_expectUnread(ICErrno::_E_::FileClose, "Failure closing file '@':\n");
}

TEST_F(ICEncodingTrace, ShortFile_TellsItsBytes)
{
    ICTemporaryFile const file("a");
    CString const path = file.mf_getPath().c_str();
    EXPECT_THAT(m_process.mf_trace([&] { ICEncoding::mf_getFileEncoding(path); }),
                Contains(f_isRecord('T', "ICEncoding::mf_implReadByteOrderMark",
                                    f_at("File '@' contains less than 2 bytes: 1 byte(s)", path))));
}

TEST_F(ICEncodingTrace, MarkOfWhatHasNone_TellsTheEncoding)
{
    unsigned char bytes[2];
    EXPECT_THAT(m_process.mf_run([&] { ICEncoding::mf_getByteOrderMark(ICEncoding::NONE, bytes); }),
                f_fails(ICErrno::_E_::Unexpected, 'E', "ICEncoding::mf_getByteOrderMark",
                        "No byte order mark for encoding 'NONE'"));
}

TEST_F(ICEncodingTrace, MarkThatCannotBeWritten)
{
    auto const fails = [](std::string const & function, std::string const & text) {
        return f_failsShowing(ICErrno::_E_::FileWrite, ERROR_INVALID_HANDLE, "ICEncoding::" + function, text);
    };
    EXPECT_THAT(m_process.mf_run([] { ICEncoding::mf_writeByteOrderMark(INVALID_HANDLE_VALUE, ICEncoding::UCS2_LE); }),
                AllOf(fails("mf_implWriteByteOrderMark", "Writing 2 bytes to file failed: "),
                      fails("mf_writeByteOrderMark", "Failure writing byte order mark to file: ")));
}
