#pragma once

#include "hsmbase/Types.h"

// Lays out texts of the user's language in the columns of a console.
//
//     CString const label = ICTextLayout::mf_pad(ICString(IDS_HSMSCAN_LIST_SYNTAX), 24);
//     ICConsole::mf_printLine(ICTextLayout::mf_wrap(ICString(IDS_HSMSCAN_LIST_HELP), label, CString(L' ', 24)));
//
// As in ICColumnFormatter, a character takes two columns if it lies above 127 and the user's language is one that
// prints double-width characters, and else one. All operations throw Initialization as long as the languages aren't up.
//
// Threads: any.
class ICTextLayout
{
public:
    // The longest line that no console breaks, which is one of 80 columns.
    static constexpr int LINE_WIDTH = 79;

    static int mf_getWidth(CString const & text);

    // With blanks behind it up to the width. A text that is wide enough stays as it is.
    static CString mf_pad(CString const & text, int width);

    // What fits into the width, three columns at least. A text that doesn't ends in "...", so that no part of a number
    // passes for the whole.
    static CString mf_cut(CString const & text, int width);

    // ICFormatter::mf_formatLines for columns: the same in languages whose characters take one. In the others a line
    // ends between two wide characters too, and behind a closing mark, but not ahead of what can't begin a line
    // (closing marks, small kana, the prolonged sound mark) nor behind what can't end one (opening marks). Nothing
    // hangs out of the line. Hangul is broken between words, and within a word only if a line can't hold it.
    static CString mf_wrap(CString const & text, CString const & firstPrefix, CString const & nextPrefix,
                           int width = LINE_WIDTH);
};
