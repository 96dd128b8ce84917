#pragma once

#include "hsmbase/failure/ICArray.h"

// Lays out text for a console or a dialog.
//
//     CString const wrapped = ICFormatter::mf_formatLines(text, L"Error: ", L"       ", 79, 0);
//
// Lengths count wchar_t's, also in languages whose characters take two columns.
//
// Threads: any, but for mf_formatLines with `centered`, whose blanks are unguarded.
class HSMBASE_EXPORT ICFormatter
{
public:
    // One line of a text: runs of blanks become one blank, line breaks become blanks, nothing stands at the end.
    static CString mf_formatLine(CString const & text);

    // Wraps a text between words into lines that end in "\r\n", except the last. The line breaks of the text aren't
    // kept. The first line begins with `firstPrefix`, each further one with `nextPrefix`. A line has up to `width`
    // characters, the prefix included; a longer word stands on a line of its own unbroken.
    //
    // `centered` non-zero puts blanks in front of each line.
    // Deliberate: the supply of blanks is as long as the `width` of the first call in the process; a later, larger
    // width gets no more than that.
    static CString mf_formatLines(CString const & text, CString const & firstPrefix, CString const & nextPrefix,
                                  ulong width, int centered);

    // "--- text ----": the trimmed text between two blanks in a line of `width` times `fill`; an odd rest goes to the
    // right. The text must be shorter than `width`.
    static CString mf_formatHeaderLine(CString const & text, ulong width, wchar_t fill);

    // The text with `finalChar` at its end, unless it already ends like a sentence ("!", ".", ":", ";", "?" or
    // `finalChar` itself), is empty, or the thread's language knows no final character (Japanese, Chinese). Throws what
    // ICThreadContext throws on a thread without context.
    static CString mf_appendFinalChar(CString const & text, CString const & finalChar);

    // The texts with the separator between them. NULL entries are skipped.
    // Deliberate: a NULL at the end leaves the separator before it.
    static CString mf_concatinate(ICArray<CString *, CString *> const & items, CString const & separator);

    // Appends a colon the way the user's language sets it: " :" in French, else ":". Answers `text`.
    static CString const & mf_appendColon(CString & text);
};
