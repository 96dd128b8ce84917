#pragma once

#include <span>

#include "hsmbase/Types.h"

// All that hsmbase and its programs report by number: the numbered messages and the error constants, with the resources
// of their texts.
//
//     ICMessageCatalog::MESSAGE const * const message = ICMessageCatalog::mf_findMessage(L"KVR27469E");
//     if (message != nullptr) ... ICString(message->textId, L"<file>") ...
//
// Threads: any; the tables are constants.
class ICMessageCatalog
{
public:
    struct MESSAGE
    {
        wchar_t const * number; // "KVR27469E"
        unsigned int textId;
        unsigned int insertId; // of the word that stands for the insert of the text: "file"

        constexpr unsigned int mf_getExplanationId() const { return textId + 1; }
        constexpr unsigned int mf_getSystemActionId() const { return textId + 2; }
        constexpr unsigned int mf_getUserResponseId() const { return textId + 3; }
    };

    // A constant of ICErrno.
    struct ERROR_CONSTANT
    {
        ulong number;
        wchar_t const * name; // "FileNotFound"
        unsigned int textId;
    };

    // The constants of one severity.
    struct SEVERITY
    {
        unsigned int textId;
        wchar_t const * scope; // "ICErrno::_E_::"
        std::span<ERROR_CONSTANT const> constants;
    };

    // Each in the order of the numbers.
    static std::span<MESSAGE const> mf_getMessages();
    static std::span<SEVERITY const> mf_getSeverities();

    // The message with this number, in upper or lower case; NULL: there is none.
    static MESSAGE const * mf_findMessage(CString const & number);

    // The constant with this number, up to eight hexadecimal digits in upper or lower case, with 0x in front or without;
    // NULL: there is none.
    static ERROR_CONSTANT const * mf_findError(CString const & number);

    static SEVERITY const & mf_getSeverity(ERROR_CONSTANT const & constant);
};
