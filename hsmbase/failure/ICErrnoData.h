#pragma once

#include "hsmbase/failure/ICErrnoValue.h"

// The record of one failure: what went wrong, when, who said so first, and the message for the administrator.
//
//     ICErrnoData outcome;                                   // nothing yet
//     ...
//     outcome = failure.mf_getErrnoData();                   // keep it, go on cleaning up
//     ...
//     if (outcome.mf_isSet()) throw ICErrno(outcome);
//
// Assignment merges. Number, resource id and creation time are always taken; the originator only from a source that has
// one; each of the message texts only where the source has it. What the source doesn't say stays in the target.
//
// The administrator's flag moves. A record whose message was set owes one line in the administrator's log. Every copy
// and assignment takes this debt from its source, const or not, so of the copies that an exception goes through exactly
// the last one holds it, and its destructor pays. Hence: pass records by reference, and don't copy one to render it.
//
// A failure record must not fail: none of its operations throws. A text for which there is no memory stays unset, with
// a trace line. The one exception that may appear is that of the class library where a CString cannot be allocated.
//
// Threads: a record belongs to one thread at a time. Copying writes to the source, so a record may not be copied from
// two threads at once, also not through a const reference.
class HSMBASE_EXPORT ICErrnoData : public ICErrnoValue
{
public:
    // Who said first what went wrong. HSM_INTERNAL has no number and no text worth showing.
    enum ORIGINATOR : int
    {
        NO_ORIGINATOR = -1,
        SYSTEM = 0,
        REXBURY = 1,
        LOOPBACK = 2,
        TARNWELL = 3,
        MORWICK = 4,
        MESSAGE_PLUS_OPEN = 5,
        XERCES = 6,
        HSM_DRIVER = 7,
        HSM_INTERNAL = 8,
        BACKUP = 9,
        USER_INTERACTION = 10
    };

    // No failure: number and resource id 0, no creation time, no originator, no texts.
    ICErrnoData();

    // Number and resource id of the constant; created now.
    ICErrnoData(ICErrnoValue const & value);

    // A merge into an empty record; created now, so a copy carries the time of the copy.
    ICErrnoData(ICErrnoData const & other);

    // Writes the line that the record owes the administrator's log, then frees the texts.
    ~ICErrnoData() override;

    // Assigning a record to itself does nothing.
    void operator=(ICErrnoData const & other);

    // Declares the failure as gone: number, resource id and creation time are cleared and nothing else. Originator,
    // texts and flag stay. Code that needs an empty record makes a new one.
    void mf_reset() override;

    // Takes number and resource id, and nothing else.
    void mf_setValue(ICErrnoValue const & value);

    // Assigns `other` and answers 1 when `other` is set and this record is not or is outranked; else answers 0. Of
    // several failures the first of the worst severity is kept.
    int mf_update(ICErrnoData const & other);

    // Local time, as a FILETIME; 0 for a default or reset record.
    FILETIME const & mf_getCreationTime() const;

    int mf_getOriginatorId() const;
    ulong mf_getOriginatorErrno() const;

    // The originator's text; when it has none, a fixed text in the language that the first caller of the process had.
    wchar_t const * mf_getOriginatorMessage() const;

    // "N/A" for a text that was never set. An empty number gives "KVR?????T" for information, else "KVR?????E".
    // The pointers stay valid until the text is set anew or the record ends.
    wchar_t const * mf_getKVRNumber() const;
    wchar_t const * mf_getMessageText() const;
    wchar_t const * mf_getExplanation() const;
    wchar_t const * mf_getSystemAction() const;
    wchar_t const * mf_getUserResponse() const;

    // The originator's message, if it has one and isn't HSM_INTERNAL; else the text of the error value.
    CString mf_getErrorText() const;

    int mf_isAdminLogFlagSet() const;

    // Whether the text was ever set, be it to nothing; an originator's message must not be empty.
    int mf_hasKVRNumber() const;
    int mf_hasMessageText() const;
    int mf_hasExplanation() const;
    int mf_hasSystemAction() const;
    int mf_hasUserResponse() const;
    int mf_hasOriginator() const;
    int mf_hasOriginatorMessage() const;

    // Without `overwrite` a text that is set stays. The record keeps a copy of its own; NULL unsets.
    void mf_setKVRNumber(wchar_t const * number, int overwrite);
    void mf_setMessageText(wchar_t const * text, int overwrite);
    void mf_setExplanation(wchar_t const * text, int overwrite);
    void mf_setSystemAction(wchar_t const * text, int overwrite);
    void mf_setUserResponse(wchar_t const * text, int overwrite);

    void mf_setOriginator(int id, ulong number, wchar_t const * message);
    void mf_setOriginatorId(int id);
    void mf_setOriginatorErrno(ulong number);
    void mf_setOriginatorMessage(wchar_t const * message);
    void mf_setAdminLogFlag(int flag);

    // Fills the message from four string resources in the user's language and marks the record for the administrator's
    // log. The variable arguments are the inserts of the message text; the other three take none. A NULL `kvrNumber`
    // changes nothing; a record without a number becomes an unspecific error. Both leave a warning in the trace.
    static void mf_setMessage(ICErrnoData & data, wchar_t const * kvrNumber, unsigned int messageId,
                              unsigned int explanationId, unsigned int systemActionId, unsigned int userResponseId,
                              ...);

private:
    int mf_implReplaceString(wchar_t *& target, wchar_t const * source) const;
    void mf_implInitialize();
    void mf_implSetString(wchar_t *& target, wchar_t const * source, int overwrite);

    FILETIME m_creationTime;
    int m_originatorId;
    ulong m_originatorErrno;

    // NULL: never set. Empty: set to nothing. Owned, from malloc.
    wchar_t * m_pszOriginatorMessage;
    wchar_t * m_pszKVRNumber;
    wchar_t * m_pszMessageText;
    wchar_t * m_pszExplanation;
    wchar_t * m_pszSystemAction;
    wchar_t * m_pszUserResponse;

    mutable int m_adminLogFlag; // moves with every copy, const or not
};
