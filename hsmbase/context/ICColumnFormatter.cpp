#include "hsmbase/context/ICColumnFormatter.h"

#include <algorithm>

#include "hsmbase/context/ICLanguage.h"

static constexpr int NOT_COMPUTED = -1;

ICColumnFormatter::ICColumnFormatter(CString const & separator, CString const & prefix, int minWidth)
    : m_sPrefix(prefix), m_sSeparator(separator), m_iMinWidth(minWidth),
      m_bDoubleWidth(ICLanguage::mf_printsDoubleWidthChars(ICLanguage::mf_getUserLanguageId())), m_bFormatted(0),
      m_iWidth(NOT_COMPUTED)
{}

// The class library's arrays have no copy constructor.
ICColumnFormatter::ICColumnFormatter(ICColumnFormatter const & other)
    : m_sPrefix(other.m_sPrefix), m_sSeparator(other.m_sSeparator), m_iMinWidth(other.m_iMinWidth),
      m_bDoubleWidth(other.m_bDoubleWidth), m_bFormatted(other.m_bFormatted), m_sResult(other.m_sResult),
      m_iWidth(other.m_iWidth)
{
    m_column1.Copy(other.m_column1);
    m_column2.Copy(other.m_column2);
    m_lengths.Copy(other.m_lengths);
}

ICColumnFormatter::~ICColumnFormatter() = default;

void ICColumnFormatter::mf_addString(CString const & label, CString const & value, CString const & suffix)
{
    m_column1.Add(label);
    m_column2.Add(value + suffix);
    m_bFormatted = 0;
}

void ICColumnFormatter::mf_addQuotedString(CString const & label, CString const & value, CString const & suffix)
{
    mf_addString(label, L"'" + value + L"'", suffix);
}

void ICColumnFormatter::mf_addULong(CString const & label, ulong value, CString const & suffix)
{
    CString text;
    text.Format(L"%lu", value);
    mf_addString(label, text, suffix);
}

void ICColumnFormatter::mf_addHex32(CString const & label, ulong value, CString const & suffix)
{
    CString text;
    text.Format(L"0x%8.8x", value);
    mf_addString(label, text, suffix);
}

CString const & ICColumnFormatter::mf_getString()
{
    if (!m_bFormatted) mf_implFormat();
    return m_sResult;
}

int ICColumnFormatter::mf_getWidthColumn1() const
{
    if (!m_bFormatted) mf_implFormat();
    return m_iWidth;
}

void ICColumnFormatter::mf_setWidthColumn1(int width)
{
    m_iWidth = width;
    m_bFormatted = 0;
}

void ICColumnFormatter::mf_implFormat() const
{
    m_sResult.Empty();
    if (m_iWidth == NOT_COMPUTED) mf_implMeasure();

    CString format;
    format.Format(L"%%s%%-%ds%%s%%s", m_iWidth);
    for (INT_PTR row = 0; row < m_column1.GetCount(); ++row) {
        if (row > 0) m_sResult += L"\r\n";
        if (!m_bDoubleWidth) {
            m_sResult.AppendFormat(format, m_sPrefix.GetString(), m_column1[row].GetString(), m_sSeparator.GetString(),
                                   m_column2[row].GetString());
        } else {
            // A width in a format counts characters, and here it is columns of the console that count. The length that
            // is missing where nothing measured it ends in the array's exception, as it must.
            int const blanks = m_iWidth - static_cast<int>(m_lengths[row]);
            m_sResult +=
                m_sPrefix + m_column1[row] + CString(L' ', std::max(blanks, 0)) + m_sSeparator + m_column2[row];
        }
    }
    m_bFormatted = 1;
}

void ICColumnFormatter::mf_implMeasure() const
{
    m_iWidth = m_iMinWidth;
    m_lengths.SetSize(m_column1.GetCount());
    for (INT_PTR row = 0; row < m_column1.GetCount(); ++row) {
        int const length = mf_implGetLength(m_column1[row]);
        m_lengths[row] = static_cast<ulong>(length);
        m_iWidth = std::max(m_iWidth, length);
    }
}

int ICColumnFormatter::mf_implGetLength(CString const & label) const
{
    int const length = label.GetLength();
    if (!m_bDoubleWidth) return length;
    wchar_t const * const text = label;
    return length + static_cast<int>(std::count_if(text, text + length, [](wchar_t c) { return c > 127; }));
}
