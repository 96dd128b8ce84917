#pragma once

#include <cstdarg>

#include "hsmbase/Types.h"

class ICErrnoData;

// A text for people, made from a string resource in the calling thread's current language.
//
//     CString const head = ICString(4060);                       // a resource without inserts
//     return ICString(4057, name, code, text.GetString());       // "%1: %2!lu! ..." with inserts
//
// An ICString is built, read at once through a conversion, and gone at the end of the statement. Arguments are pointers
// and numbers; a CString must never go through "...". A resource has the inserts of FormatMessage (%1, %2!lu!), a
// format those of printf, in which %s takes wide text.
//
// Instead of failures there are placeholders, which a user sees when something is wrong with the language libraries:
//
//     <resource-id=%lu not loaded>          the languages aren't up, or this thread has no context
//     <failure loading resource-id=%lu>     neither the language in force nor the fallback language has the id
//     <resource-id=%lu not formatted>       inserting failed, or the language in force has no library
//     <string '%s' not formatted>           a printf format failed, or its result is too long
//
// Texts have at most 8,191 characters, those of resources 4,095 before inserting.
//
// Threads: no shared data, no lock. Up to 24 KB of stack are used.
class HSMBASE_EXPORT ICString
{
public:
    // Part of the interface for linking programs; the library itself has no use for it.
    static wchar_t * EMPTY;

    // Throws Memory, and nothing else.
    ICString(unsigned int resourceId, ...);

    // Throws Parameter for a NULL format, and Memory.
    ICString(wchar_t const * format, ...);

    // Deliberate: member-wise. A copy shares the buffer, and only one of the two may ever be destroyed.
    ICString(ICString const &) = default;
    ICString & operator=(ICString const &) = default;
    virtual ~ICString();

    operator wchar_t *();
    operator CString() const;

    // The text of a resource in the language of a selector of ICLanguage; empty when inserting fails. Never throws
    // ICErrno. `arguments` points to a started list.
    static CString mf_formatLanguage(ulong language, ulong resourceId, ...);
    static CString mf_vaFormatLanguage(ulong language, ulong resourceId, va_list * arguments);

    // Appends the item, with the separator in front of it if the list isn't empty.
    static void mf_appendList(CString & list, CString const & item, CString const & separator);

    static int mf_count(CString const & text, wchar_t character);

    // Whether all characters are letters, or digits; 1 for an empty text.
    static int mf_isAlpha(CString const & text);
    static int mf_isDigit(CString const & text);

    // Fills `size` bytes of `buffer` with the text in the thread's ANSI code page and zeros behind it, and returns the
    // buffer. At most as many bytes as the text has wide characters are copied, so double-byte text is cut, and text
    // that fills the buffer has no terminator. The buffer is all zeros when the text can't be converted.
    static char const * mf_toAsciiBuffer(CString const & text, char * buffer, ulong size);

    // `result` becomes the first `length` bytes in the default conversion of CString, or empty when the first byte
    // is 0, whatever `length` says. Returns `result`.
    static CString const & mf_fromAsciiBuffer(char const * buffer, ulong length, CString & result);

private:
    // Both leave a text in `buffer`, whose length counts the terminator. Failing to load throws what kept the current
    // language's text from being there; failing to format throws Parameter or System, not being able to load doesn't.
    static void mf_implLoadString(ulong language, unsigned int resourceId, wchar_t * buffer, ulong bufferLength);
    static void mf_implFormatString(ulong language, unsigned int resourceId, va_list * arguments, wchar_t * buffer,
                                    ulong bufferLength);

    // Resets `outcome` if the fallback language has the text.
    static void mf_implLoadFallbackString(ICErrnoData & outcome, HINSTANCE failedLibrary, unsigned int resourceId,
                                          wchar_t * buffer, ulong bufferLength);
    static CString mf_implFormatLanguage(wchar_t const * function, ulong language, ulong resourceId,
                                         va_list * arguments, ulong bufferLength);

    wchar_t * m_pszBuffer; // owned, from calloc; always 8,192 characters
};
