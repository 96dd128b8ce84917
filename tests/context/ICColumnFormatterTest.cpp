#include <gtest/gtest.h>

#include "hsmbase/context/ICColumnFormatter.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/support/Thrown.h"

namespace
{

class ICColumns : public testing::Test
{
protected:
    static ICColumnFormatter mf_makeAB(int minWidth = 0)
    {
        ICColumnFormatter columns(L" : ", L"> ", minWidth);
        columns.mf_addString(L"a", L"1", L"");
        columns.mf_addString(L"abc", L"2", L"");
        return columns;
    }

    ICStartedProcess const m_process;
};

class ICDoubleWidthColumns : public ICColumns
{
protected:
    ICDoubleWidthColumns() { ICLanguage::m_pThis->m_userLanguageId = 1041; }
};

} // namespace

TEST_F(ICColumns, NoRows_AreNoText)
{
    EXPECT_STREQ(L"", ICColumnFormatter(L" : ", L"> ", 5).mf_getString());
}

TEST_F(ICColumns, Labels_ArePaddedToTheLongest)
{
    ICColumnFormatter columns = mf_makeAB();

    EXPECT_STREQ(L"> a   : 1\r\n> abc : 2", columns.mf_getString());
    EXPECT_EQ(3, columns.mf_getWidthColumn1());
}

TEST_F(ICColumns, Labels_ArePaddedToTheMinimumWidth)
{
    EXPECT_STREQ(L"> a     : 1\r\n> abc   : 2", mf_makeAB(5).mf_getString());
}

TEST_F(ICColumns, Values_HaveTheirForms)
{
    ICColumnFormatter columns(L"=", L"", 0);
    columns.mf_addString(L"a", L"text", L" !");
    columns.mf_addQuotedString(L"b", L"text", L"");
    columns.mf_addQuotedString(L"c", L"text", L" (old)");
    columns.mf_addULong(L"d", 4294967295ul, L" files");
    columns.mf_addHex32(L"e", 42, L"");
    columns.mf_addHex32(L"f", 0xFEDCBA98, L"h");

    EXPECT_STREQ(L"a=text !\r\nb='text'\r\nc='text' (old)\r\nd=4294967295 files\r\ne=0x0000002a\r\nf=0xfedcba98h",
                 columns.mf_getString());
}

TEST_F(ICColumns, PercentSigns_AreText)
{
    ICColumnFormatter columns(L"%s", L"%d", 0);
    columns.mf_addString(L"100%", L"%x", L"%");

    EXPECT_STREQ(L"%d100%%s%x%", columns.mf_getString());
}

TEST_F(ICColumns, GetString_WithoutChange_RendersOnce)
{
    ICColumnFormatter columns = mf_makeAB();
    wchar_t const * const first = columns.mf_getString();

    columns.m_column2[0] = L"changed behind its back";

    EXPECT_EQ(first, columns.mf_getString().GetString());
}

TEST_F(ICColumns, GetWidth_RendersWhatIsNotRendered)
{
    ICColumnFormatter const columns = mf_makeAB();

    EXPECT_EQ(-1, columns.m_iWidth);
    EXPECT_EQ(3, columns.mf_getWidthColumn1());
    EXPECT_EQ(1, columns.m_bFormatted);
}

TEST_F(ICColumns, LaterRows_AreRenderedInTheFirstWidth)
{
    ICColumnFormatter columns = mf_makeAB();
    columns.mf_getString();
    columns.mf_addString(L"longer", L"3", L"");

    EXPECT_STREQ(L"> a   : 1\r\n> abc : 2\r\n> longer : 3", columns.mf_getString());
    EXPECT_EQ(3, columns.mf_getWidthColumn1());
}

TEST_F(ICColumns, SetWidth_RendersAnew)
{
    ICColumnFormatter columns = mf_makeAB();
    columns.mf_getString();
    columns.mf_setWidthColumn1(4);

    EXPECT_STREQ(L"> a    : 1\r\n> abc  : 2", columns.mf_getString());
    EXPECT_EQ(4, columns.mf_getWidthColumn1());
}

TEST_F(ICColumns, Copy_TakesRowsAndResult)
{
    ICColumnFormatter columns = mf_makeAB();
    ICColumnFormatter const unrendered(columns);
    columns.mf_getString();
    ICColumnFormatter rendered(columns);
    rendered.mf_addString(L"x", L"3", L"");

    EXPECT_EQ(3, unrendered.mf_getWidthColumn1());
    EXPECT_STREQ(L"> a   : 1\r\n> abc : 2", unrendered.m_sResult);
    EXPECT_STREQ(L"> a   : 1\r\n> abc : 2\r\n> x   : 3", rendered.mf_getString());
    EXPECT_STREQ(L"> a   : 1\r\n> abc : 2", columns.mf_getString());
}

TEST_F(ICColumns, SingleWidthLanguage_CountsCharacters)
{
    EXPECT_EQ(2, ICColumnFormatter(L"", L"", 0).mf_implGetLength(L"\u6f22\u5b57"));
}

TEST_F(ICDoubleWidthColumns, CharactersAbove127_CountTwice)
{
    ICColumnFormatter const columns(L"", L"", 0);

    EXPECT_EQ(4, columns.mf_implGetLength(L"\u6f22\u5b57"));
    EXPECT_EQ(3, columns.mf_implGetLength(L"a\u00e4"));
    EXPECT_EQ(2, columns.mf_implGetLength(L"a\u007f"));
    EXPECT_EQ(0, columns.mf_implGetLength(L""));
}

TEST_F(ICDoubleWidthColumns, Labels_ArePaddedInColumnsOfTheConsole)
{
    ICColumnFormatter columns(L" : ", L"> ", 0);
    columns.mf_addString(L"\u6f22\u5b57", L"1", L"");
    columns.mf_addString(L"a", L"2", L"");

    EXPECT_STREQ(L"> \u6f22\u5b57 : 1\r\n> a    : 2", columns.mf_getString());
    EXPECT_EQ(4, columns.mf_getWidthColumn1());
}

TEST_F(ICDoubleWidthColumns, Copy_KeepsTheLengths)
{
    ICColumnFormatter columns = mf_makeAB();
    columns.mf_getString();
    ICColumnFormatter copy(columns);
    copy.mf_setWidthColumn1(4);

    EXPECT_STREQ(L"> a    : 1\r\n> abc  : 2", copy.mf_getString());
}

TEST_F(ICDoubleWidthColumns, WidthBelowALabel_AddsNoBlanks)
{
    ICColumnFormatter columns = mf_makeAB();
    columns.mf_getString();
    columns.mf_setWidthColumn1(1);

    EXPECT_STREQ(L"> a : 1\r\n> abc : 2", columns.mf_getString());
}

TEST_F(ICDoubleWidthColumns, SetWidth_BeforeRendering_EndsInTheArraysException)
{
    ICColumnFormatter columns = mf_makeAB();
    columns.mf_setWidthColumn1(10);

    EXPECT_THROW(columns.mf_getString(), CInvalidArgException *);
    EXPECT_THROW(columns.mf_getWidthColumn1(), CInvalidArgException *);
}

TEST_F(ICDoubleWidthColumns, RowAddedAfterRendering_EndsInTheArraysException)
{
    ICColumnFormatter columns = mf_makeAB();
    columns.mf_getString();
    columns.mf_addString(L"late", L"3", L"");

    EXPECT_THROW(columns.mf_getString(), CInvalidArgException *);
}

TEST(ICColumnFormatter, WithoutLanguages_CannotBeMade)
{
    EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, [] { ICColumnFormatter(L"", L"", 0); }));
}
