#pragma once

#include "hsmbase/failure/ICErrnoData.h"

// The exception: the only type that the library throws, by value. Catch it by reference.
//
//     try {
//         ICRegistry::mf_getValue(L"Language", name, path, HKEY_LOCAL_MACHINE);
//     }
//     catch (ICErrno & failure) {
//         if (failure.mf_isErrno(ICErrno::_E_::Unexpected)) ...          // wrong type
//         fputws(failure.mf_toConsoleMessage(L""), stderr);
//     }
//
// The error constants stand in four scopes, one a severity: ICErrno::_I_, _W_, _E_ and _S_. Constants of the same name
// have the same text.
//
// Threads: as its record, see ICErrnoData.
class HSMBASE_EXPORT ICErrno
{
public:
#define ICERRNO_CONSTANT(name, id, resource) static ICErrnoValue const name;
    struct HSMBASE_EXPORT _I_
    {
#define ICERRNO_I ICERRNO_CONSTANT
#include "hsmbase/failure/ICErrnoConstants.def"
    };
    struct HSMBASE_EXPORT _W_
    {
#define ICERRNO_W ICERRNO_CONSTANT
#include "hsmbase/failure/ICErrnoConstants.def"
    };
    struct HSMBASE_EXPORT _E_
    {
#define ICERRNO_E ICERRNO_CONSTANT
#include "hsmbase/failure/ICErrnoConstants.def"
    };
    struct HSMBASE_EXPORT _S_
    {
#define ICERRNO_S ICERRNO_CONSTANT
#include "hsmbase/failure/ICErrnoConstants.def"
    };
#undef ICERRNO_CONSTANT

    ICErrno(ICErrnoValue const & value);

    // Takes the record over by assignment: its administrator's flag moves here.
    ICErrno(ICErrnoData const & data);

    // The record with the system as originator: its error number and the system's own text for it.
    ICErrno(ICErrnoData const & data, ulong systemError);

    ICErrno(ICErrnoData const & data, int originatorId, ulong originatorErrno, CString const & originatorMessage);
    ICErrno(ICErrno const & other);
    ICErrno & operator=(ICErrno const & other);
    virtual ~ICErrno();

    ICErrnoData const & mf_getErrnoData() const;
    int mf_getNumber() const;

    // The text that names the failure, in the thread's current language.
    CString mf_getString() const;

    // Whether the record carries a message text for the administrator.
    int mf_hasMessage() const;

    // Whether the numbers are equal; the resource is not compared.
    int mf_isErrno(ICErrnoData const & other) const;

    int mf_isError() const;
    int mf_isWarning() const;
    int mf_isSevere() const;
    int mf_isGreen() const;
    int mf_isYellow() const;
    int mf_isRed() const;

    // These take effect only where nothing is set yet: the first word stays, also when a caller further up the stack
    // has a better one.
    void mf_setKVRNumber(CString const & number);
    void mf_setMessageText(CString const & text);
    void mf_setExplanation(CString const & text);
    void mf_setSystemAction(CString const & text);
    void mf_setUserResponse(CString const & text);

    // For a trace line: the number with its text, and the originator on further lines when there is one.
    CString mf_toString() const;

    // The three renderings. Each line begins with `prefix`.
    //   log:     one fact a line, no final line end
    //   console: wrapped to 79 columns, between bars
    //   GUI:     one line a text, since a dialog wraps by itself
    CString mf_toLogMessage(CString const & prefix) const;
    CString mf_toConsoleMessage(CString const & prefix) const;
    CString mf_toGuiMessage(CString const & prefix) const;
    static CString mf_toLogMessage(ICErrnoData const & data, CString const & prefix);
    static CString mf_toConsoleMessage(ICErrnoData const & data, CString const & prefix);
    static CString mf_toGuiMessage(ICErrnoData const & data, CString const & prefix);

    // "5L (Access denied.)": a system error number and the system's text for it.
    static CString mf_getSystemMessage(ulong systemError);

private:
    static CString mf_implFormatSystemMessage(ulong systemError);
    static CString mf_implGetOriginatorName(ulong originatorId);

    ICErrnoData m_data;
};
