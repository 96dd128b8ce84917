#pragma once

#include "hsmbase/Types.h"

// Originators and their actions, as the tests of fault injection know them.

struct DEBUG_ROW
{
    ulong m_originator;
    wchar_t const * m_valueName;
    ulong m_action;
    wchar_t const * m_actionName;
};

inline constexpr wchar_t const * NO_ACTION_NAME = L"<Pls add action and/or debug action to ICDebug::mf_getAction()>";
inline constexpr wchar_t const * NO_VALUE_NAME = L"<INVALID ORIGINATOR ID>";

inline constexpr DEBUG_ROW DEBUG_ROWS[] = {
    {0, L"SYS", 0x001, L"COMPLETER_OPEN_TEMP_FILE"},
    {0, L"SYS", 0x002, L"COMPLETER_OPENED_TEMP_FILE"},
    {0, L"SYS", 0x004, L"COMPLETER_CLOSE_TEMP_FILE"},
    {0, L"SYS", 0x008, L"COMPLETER_CLOSED_TEMP_FILE"},
    {0, L"SYS", 0x010, L"COMPLETER_MOVE_TEMP_FILE"},
    {0, L"SYS", 0x020, L"COMPLETER_MOVED_TEMP_FILE"},
    {0, L"SYS", 0x040, L"FILE_ENTRY_MODIFIED"},
    {0, L"SYS", 0x080, L"MOVE_DELETE_STUB"},
    {0, L"SYS", 0x100, L"TAR_VALIDATE_MAGIC"},
    {0, L"SYS", 0x200, L"TAR_OPEN_ADSTREAM"},
    {0, L"SYS", 0x400, L"TAR_OPENED_ADSTREAM"},
    {1, L"Rexbury", 0x001, L"SEND_CONTENT_DATA"},
    {1, L"Rexbury", 0x002, L"RETRIEVE_CONTENT_DATA"},
    {2, L"LB", 0x001, L"SEND_CONTENT_DATA"},
    {2, L"LB", 0x002, L"RETRIEVE_CONTENT_DATA"},
    {3, L"Tarnwell", 0x001, L"SEND_CONTENT_DATA"},
    {3, L"Tarnwell", 0x002, L"RETRIEVE_CONTENT_DATA"},
    {3, L"Tarnwell", 0x004, L"BACKUP_TNWC"},
    {3, L"Tarnwell", 0x008, L"CHECK_VERSION"},
    {3, L"Tarnwell", 0x010, L"QUERY_OBJECT"},
    {3, L"Tarnwell", 0x020, L"UPDATE_OBJECT"},
    {3, L"Tarnwell", 0x040, L"RENAME_OBJECT"},
    {3, L"Tarnwell", 0x080, L"END_TRANSACTION"},
    {4, L"Morwick8", 0x001, L"SEND_CONTENT_DATA"},
    {4, L"Morwick8", 0x002, L"RETRIEVE_CONTENT_DATA"},
    {7, L"DRV", 0x100, L"CREATE_STUB_FILE"},
    {8, L"HSM", 0x001, L"BACKUP_MIGRATION_LIST"},
    // Actions outside the table: any bit can be raised for any originator.
    {1, L"Rexbury", 0x004, NO_ACTION_NAME},
    {4, L"Morwick8", 0x80000000, NO_ACTION_NAME},
    {5, L"MPO", 0x001, NO_ACTION_NAME},
    {6, L"XML", 0x001, NO_ACTION_NAME},
    {7, L"DRV", 0x001, NO_ACTION_NAME},
    {8, L"HSM", 0x002, NO_ACTION_NAME},
    {9, L"BACKUP", 0x001, NO_ACTION_NAME},
    {10, L"USR", 0x001, NO_ACTION_NAME},
    {0, L"SYS", 0x800, NO_ACTION_NAME},
    // Originators outside of it.
    {11, NO_VALUE_NAME, 0x001, NO_ACTION_NAME},
    {0x7FFFFFFF, NO_VALUE_NAME, 0x001, NO_ACTION_NAME},
};

inline CString f_debugMessage(DEBUG_ROW const & row)
{
    CString message;
    message.Format(L"Debug exception, impersonating originator with id=%lu (%s), action id=%lu (%s)", row.m_originator,
                   row.m_valueName, row.m_action, row.m_actionName);
    return message;
}
