#pragma once

#include "hsmbase/Types.h"

// The encoding of a text file, told by the file's first two bytes.
//
//     ICEncoding const encoding = ICEncoding::mf_getFileEncoding(L"D:\\logs\\trace.log");
//     if (encoding == ICEncoding::UCS2_LE) ...
//
// Byte-order marks: UCS2_LE is marked by 0xFF 0xFE, UCS2_BE by 0xFE 0xFF; ASCII has none. Any two bytes other than 0
// that are no mark count as ASCII, UTF-8 included.
//
// Threads: a plain value; the constants are read-only and usable before any code has run. Files are opened to share
// with writers, so a log in use can be examined.
class HSMBASE_EXPORT ICEncoding
{
public:
    static ICEncoding const NONE;    // no file, or no content
    static ICEncoding const UNKNOWN; // a file too short to tell
    static ICEncoding const ASCII;
    static ICEncoding const UCS2_LE;
    static ICEncoding const UCS2_BE;

    // NONE.
    constexpr ICEncoding() = default;
    constexpr ICEncoding(ICEncoding const &) = default;

    ICEncoding operator=(ICEncoding const & other);
    int operator==(ICEncoding const & other) const;
    int operator!=(ICEncoding const & other) const;

    // The constant's name; "Unexpected-encoding" for a value that is no constant.
    CString mf_toString() const;

    // From two bytes. A second byte of 0 without a mark is taken as Latin text in UCS2_LE.
    // Throws _E_::Unknown when the first byte is 0.
    // Deliberate: also where the second is not, which looks like UCS2_BE and is said so in the trace.
    static ICEncoding mf_getEncoding(unsigned char const * const bytes);

    // Fills two bytes and answers 1; answers 0 and fills nothing for ASCII. Throws _E_::Unexpected for encodings that
    // can't be written.
    static int mf_getByteOrderMark(ICEncoding const & encoding, unsigned char * const bytes);

    // Whether the two bytes are one of the two marks.
    static int mf_isByteOrderMark(unsigned char const * const bytes);

    // UNKNOWN for a file of less than two bytes, an empty one included. Throws _E_::FileAccess, FileRead or FileClose
    // with the system error, and what mf_getEncoding throws.
    static ICEncoding mf_getFileEncoding(CString const & path);

    // Writes the mark at the current position; nothing for ASCII. Throws _E_::FileWrite with the system error, also for
    // a mark written in part, and _E_::Unexpected as mf_getByteOrderMark.
    static void mf_writeByteOrderMark(void * const fileHandle, ICEncoding const & encoding);

private:
    constexpr explicit ICEncoding(int encoding) : m_encoding(encoding) {}

    // Answers 0 for a file of less than two bytes.
    static int mf_implReadByteOrderMark(CString const & path, unsigned char * const bytes);
    static void mf_implWriteByteOrderMark(void * const fileHandle, unsigned char * const bytes);

    int m_encoding = -1;
};
