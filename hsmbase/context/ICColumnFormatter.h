#pragma once

#include "hsmbase/failure/ICArray.h"

// Collects labels with their values and renders them as two aligned columns.
//
//     ICColumnFormatter columns(L" : ", L"  ", 0);
//     columns.mf_addString(L"Name", name, L"");
//     columns.mf_addULong(L"Files", count, L"");
//     wprintf(L"%s\r\n", columns.mf_getString().GetString());
//
// In languages whose characters take two columns of a console, lengths count columns. There, all rows are added before
// the first rendering, and the width isn't set: see mf_setWidthColumn1.
//
// Threads: an object belongs to one thread.
class HSMBASE_EXPORT ICColumnFormatter
{
public:
    // `prefix` stands at the start of each line, `separator` between the columns; the first column has at least
    // `minWidth` characters.
    ICColumnFormatter(CString const & separator, CString const & prefix, int minWidth);
    ICColumnFormatter(ICColumnFormatter const & other);
    ICColumnFormatter & operator=(ICColumnFormatter const &) = delete;
    virtual ~ICColumnFormatter();

    // Each adds a row; the suffix is appended to the value. mf_addQuotedString puts the value between single quotes,
    // mf_addHex32 gives "0x0000002a".
    void mf_addString(CString const & label, CString const & value, CString const & suffix);
    void mf_addQuotedString(CString const & label, CString const & value, CString const & suffix);
    void mf_addULong(CString const & label, ulong value, CString const & suffix);
    void mf_addHex32(CString const & label, ulong value, CString const & suffix);

    // The rows, with "\r\n" between them.
    CString const & mf_getString();

    // The width is computed at the first rendering, and not again for rows that are added later.
    int mf_getWidthColumn1() const;

    // Deliberate: in a double-width language the lengths of the labels are measured only together with the width. After
    // this call, as for rows that are added after the first rendering, rendering ends in the class library's invalid
    // argument exception.
    void mf_setWidthColumn1(int width);

private:
    void mf_implFormat() const;
    void mf_implMeasure() const;
    int mf_implGetLength(CString const & label) const;

    CString m_sPrefix;
    CString m_sSeparator;
    int m_iMinWidth;
    int m_bDoubleWidth;
    ICArray<CString, CString const &> m_column1; // labels
    ICArray<CString, CString const &> m_column2; // values
    mutable ICArray<ulong, ulong> m_lengths;     // display lengths of the labels
    mutable int m_bFormatted;                    // m_sResult is up to date
    mutable CString m_sResult;
    mutable int m_iWidth; // of column 1; -1: not computed
};
