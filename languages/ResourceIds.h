// The ids of all texts that people read. Each language has one resource script with a text for every id; the libraries
// built from them must hold exactly these ids (tests/languages checks that).
//
//     ICString text(IDS_ORIGINATOR, L"System", 5ul, L"Access is denied.");
//
// One line an id: #define, name, number, and behind it the inserts that the text must have, with their kinds: %1 is a
// wide text, %1!lu! an unsigned number (ulong), %1!lx! the same shown in hexadecimal, %1!ld! a signed number (long),
// %1!c! one character. Nothing behind it: the text has no inserts. A list may go on in lines that begin with // and an
// insert. The build of the tests reads this file, so an id keeps this form.
//
// Ids below 20000 belong to the library, 20000 and up to hsmscan; further programs take ranges of their own behind it.
// Resource compilers read this file too, hence only #define and no #pragma once.
#ifndef HSMBASE_LANGUAGES_RESOURCEIDS_H
#define HSMBASE_LANGUAGES_RESOURCEIDS_H

// Error constants, 2000 to 2170: the short text of a failure, one for all severities that share it. Shown behind the
// number, so a phrase without a full stop. 2081 to 2085 are not used.
#define IDS_ERRNO_ALREADY_ARCHIVED 2000
#define IDS_ERRNO_ALREADY_INITIALIZED 2001
#define IDS_ERRNO_ARCHIVED_FILE 2002
#define IDS_ERRNO_ARCHIVE_EXISTS 2003
#define IDS_ERRNO_ARCHIVE_FILE 2004
#define IDS_ERRNO_ARCHIVE_MISMATCH 2005
#define IDS_ERRNO_ARCHIVE_NOT_FOUND 2006
#define IDS_ERRNO_ARITHMETIC 2007
#define IDS_ERRNO_ATTRIBUTES 2008
#define IDS_ERRNO_BACKUP 2009
#define IDS_ERRNO_BOOL_NOT_SET 2010
#define IDS_ERRNO_BUFFER_TOO_SMALL 2011
#define IDS_ERRNO_CLOSE_HANDLE 2012
#define IDS_ERRNO_CLUSTER 2013
#define IDS_ERRNO_MORWICK8 2014
#define IDS_ERRNO_MORWICK_MISMATCH 2015
#define IDS_ERRNO_COMPRESSED_FILE 2016
#define IDS_ERRNO_CONFIGURATION 2017
#define IDS_ERRNO_CONNECTION 2018
#define IDS_ERRNO_CONVERSION 2019
#define IDS_ERRNO_CRC 2020
#define IDS_ERRNO_DATA_CORRUPTED 2021
#define IDS_ERRNO_DEBUG 2022
#define IDS_ERRNO_DELETED 2023
#define IDS_ERRNO_DELETED_EMULATION 2024
#define IDS_ERRNO_DEVICE_NOT_READY 2025
#define IDS_ERRNO_DLL_CLOSE 2026
#define IDS_ERRNO_DLL_FUNCTION 2027
#define IDS_ERRNO_DLL_OPEN 2028
#define IDS_ERRNO_DOMAIN 2029
#define IDS_ERRNO_DOMAIN_CONTROLLER 2030
#define IDS_ERRNO_DRIVER 2031
#define IDS_ERRNO_DRIVER_CANCELED 2032
#define IDS_ERRNO_DUPLICATE_ENTRY 2033
#define IDS_ERRNO_DUPLICATE_HANDLE 2034
#define IDS_ERRNO_DUPLICATE_ITEM 2035
#define IDS_ERRNO_DUPLICATE_NAME 2036
#define IDS_ERRNO_EMPTY_FILE 2037
#define IDS_ERRNO_ENCRYPTED_FILE 2038
#define IDS_ERRNO_ENCRYPTION 2039
#define IDS_ERRNO_EXT_ATTRIBUTES 2040
#define IDS_ERRNO_FATAL 2041
#define IDS_ERRNO_FILE_ACCESS 2042
#define IDS_ERRNO_FILE_CACHED 2043
#define IDS_ERRNO_FILE_CLOSE 2044
#define IDS_ERRNO_FILE_COPY 2045
#define IDS_ERRNO_FILE_CORRUPTED 2046
#define IDS_ERRNO_FILE_DESELECTED 2047
#define IDS_ERRNO_FILE_EXISTS 2048
#define IDS_ERRNO_FILE_EXPIRED 2049
#define IDS_ERRNO_FILE_MODIFIED 2050
#define IDS_ERRNO_FILE_MOVE 2051
#define IDS_ERRNO_FILE_NAME_TOO_LONG 2052
#define IDS_ERRNO_FILE_NOT_FOUND 2053
#define IDS_ERRNO_FILE_OPEN 2054
#define IDS_ERRNO_FILE_READ 2055
#define IDS_ERRNO_FILE_RESTORE 2056
#define IDS_ERRNO_FILE_SEEK 2057
#define IDS_ERRNO_FILE_SIZE_EXCEEDED 2058
#define IDS_ERRNO_FILE_SYSTEM 2059
#define IDS_ERRNO_FILE_TIMES 2060
#define IDS_ERRNO_FILE_TOO_SMALL 2061
#define IDS_ERRNO_FILE_WRITE 2062
#define IDS_ERRNO_FORK_PROCESS 2063
#define IDS_ERRNO_FORMATTING 2064
#define IDS_ERRNO_GUI 2065
#define IDS_ERRNO_GUI_WARNING 2066
#define IDS_ERRNO_HIDDEN_FILE 2067
#define IDS_ERRNO_FENLOW 2068
#define IDS_ERRNO_INCOMPLETE_ITEM 2069
#define IDS_ERRNO_INITIALIZATION 2070
#define IDS_ERRNO_INTERNAL 2071
#define IDS_ERRNO_INTERRUPTED 2072
#define IDS_ERRNO_INVALID_ARCHIVE_NAME 2073
#define IDS_ERRNO_INVALID_HANDLE 2074
#define IDS_ERRNO_INVALID_ID 2075
#define IDS_ERRNO_INVALID_VOLUME_MAPPING 2076
#define IDS_ERRNO_ITEM_ALREADY_EXISTS 2077
#define IDS_ERRNO_ITEM_NOT_FOUND 2078
#define IDS_ERRNO_LANGUAGE 2079
#define IDS_ERRNO_LANGUAGE_WARNING 2080
#define IDS_ERRNO_LOGGING 2086
#define IDS_ERRNO_LOW_DISK_SPACE 2087
#define IDS_ERRNO_MARKED 2088
#define IDS_ERRNO_MARKED_EMULATION 2089
#define IDS_ERRNO_MEMORY 2090
#define IDS_ERRNO_MGMT_CLASS_NOT_FOUND 2091
#define IDS_ERRNO_MIGRATION 2092
#define IDS_ERRNO_NAME_CLASH 2093
#define IDS_ERRNO_NETWORK 2094
#define IDS_ERRNO_NOT_ARCHIVED 2095
#define IDS_ERRNO_NOT_IMPLEMENTED 2096
#define IDS_ERRNO_NOT_OVERWRITTEN 2097
#define IDS_ERRNO_NOT_SUPPORTED 2098
#define IDS_ERRNO_NOT_TERMINATED 2099
#define IDS_ERRNO_OFFLINE_FILE 2100
#define IDS_ERRNO_OK 2101
#define IDS_ERRNO_REXBURY 2102
#define IDS_ERRNO_OPEN_HANDLE 2103
#define IDS_ERRNO_OPERATION_STOPPED 2104
#define IDS_ERRNO_OPTIMIZED 2105
#define IDS_ERRNO_ORPHANED_STUB_FILE 2106
#define IDS_ERRNO_PARAMETER 2107
#define IDS_ERRNO_PASSWORD_EXPIRED 2108
#define IDS_ERRNO_PATH 2109
#define IDS_ERRNO_PROCESS_NOT_FOUND 2110
#define IDS_ERRNO_QUOTA_DENIED 2111
#define IDS_ERRNO_QUOTA_GRANTED 2112
#define IDS_ERRNO_RANGE 2113
#define IDS_ERRNO_READ_ONLY_FILE 2114
#define IDS_ERRNO_REGISTRY 2115
#define IDS_ERRNO_REMOTE_PATH 2116
#define IDS_ERRNO_REMOTE_PATH_NOT_SUPPORTED 2117
#define IDS_ERRNO_REMOVE_FILE 2118
#define IDS_ERRNO_REPARSE_DATA_PARSING 2119
#define IDS_ERRNO_REPARSE_DATA_WRITING 2120
#define IDS_ERRNO_REPARSE_POINT 2121
#define IDS_ERRNO_REPARSE_POINT_WARNING 2122
#define IDS_ERRNO_RESIDENT_FILE 2123
#define IDS_ERRNO_RESOURCE 2124
#define IDS_ERRNO_ROLLBACK 2125
#define IDS_ERRNO_ROLLBACK_WARNING 2126
#define IDS_ERRNO_SECURITY 2127
#define IDS_ERRNO_SERVICE 2128
#define IDS_ERRNO_SHARING_VIOLATION 2129
#define IDS_ERRNO_SHUTDOWN 2130
#define IDS_ERRNO_SPARSE_FILE 2131
#define IDS_ERRNO_SPARSE_FILE_WARNING 2132
#define IDS_ERRNO_STALE_ORDER 2133
#define IDS_ERRNO_STATE 2134
#define IDS_ERRNO_STUB_CREATION 2135
#define IDS_ERRNO_STUB_FILE_INFORMATION 2136
#define IDS_ERRNO_STUB_FILE_WARNING 2137
#define IDS_ERRNO_STUB_IN_MOVE 2138
#define IDS_ERRNO_SYNCHRONIZATION 2139
#define IDS_ERRNO_SYSTEM 2140
#define IDS_ERRNO_SYSTEM_FILE 2141
#define IDS_ERRNO_TEMPORARY_FILE 2142
#define IDS_ERRNO_THREAD_NOT_FOUND 2143
#define IDS_ERRNO_TIMEOUT 2144
#define IDS_ERRNO_TRANSACTION 2145
#define IDS_ERRNO_TRANSACTION_STEP 2146
#define IDS_ERRNO_TARNWELL 2147
#define IDS_ERRNO_TARNWELL_SERVER 2148
#define IDS_ERRNO_UNC_PATH 2149
#define IDS_ERRNO_UNDEFINED 2150
#define IDS_ERRNO_UNEXPECTED 2151
#define IDS_ERRNO_UNKNOWN 2152
#define IDS_ERRNO_UNMARKED 2153
#define IDS_ERRNO_UNMARKED_EMULATION 2154
#define IDS_ERRNO_UNSPECIFIC 2155
#define IDS_ERRNO_UNSPECIFIC_SEVERE 2156
#define IDS_ERRNO_UNSPECIFIC_WARNING 2157
#define IDS_ERRNO_USER_CANCELED 2158
#define IDS_ERRNO_USER_CANCELED_WARNING 2159
#define IDS_ERRNO_USER_INPUT 2160
#define IDS_ERRNO_VALIDATION 2161
#define IDS_ERRNO_VERSION 2162
#define IDS_ERRNO_VOLUME 2163
#define IDS_ERRNO_VOLUME_NOT_FOUND 2164
#define IDS_ERRNO_VSS 2165
#define IDS_ERRNO_WAIT_SHUTDOWN 2166
#define IDS_ERRNO_WAIT_SIGNAL 2167
#define IDS_ERRNO_WAIT_TIMEOUT 2168
#define IDS_ERRNO_XML_PARSING 2169
#define IDS_ERRNO_XML_WRITING 2170

// Severities.
#define IDS_SEVERITY_ERROR 3498
#define IDS_SEVERITY_INFORMATION 3501
#define IDS_SEVERITY_SEVERE 3502
#define IDS_SEVERITY_NONE 3504
#define IDS_SEVERITY_WARNING 3505

// Language names.
#define IDS_LANGUAGE_CZECH 3832
#define IDS_LANGUAGE_ENGLISH 3833
#define IDS_LANGUAGE_FRENCH 3835
#define IDS_LANGUAGE_GERMAN 3836
#define IDS_LANGUAGE_HUNGARIAN 3837
#define IDS_LANGUAGE_ITALIAN 3838
#define IDS_LANGUAGE_JAPANESE 3839
#define IDS_LANGUAGE_KOREAN 3840
#define IDS_LANGUAGE_POLISH 3841
#define IDS_LANGUAGE_PORTUGUESE 3842
#define IDS_LANGUAGE_RUSSIAN 3843
#define IDS_LANGUAGE_SIMPLIFIED_CHINESE 3844
#define IDS_LANGUAGE_SPANISH 3845
#define IDS_LANGUAGE_TRADITIONAL_CHINESE 3846

// Rendering of a failure. The labels of explanation, system action and user response stand between two inserts, which
// a caller may use for highlighting. A label ends in a blank, because the text follows at once.
#define IDS_LABEL_EXPLANATION 3511 // %1 before, %2 behind
#define IDS_NO_ORIGINATOR_MESSAGE 4018
#define IDS_ORIGINATOR 4057 // %1 name, %2!lu! code, %3 message
#define IDS_LABEL_ORIGINATOR 4060
#define IDS_LABEL_SYSTEM_ACTION 4422 // %1 before, %2 behind
#define IDS_LABEL_USER_RESPONSE 4522 // %1 before, %2 behind

// Thread context.
#define IDS_THREAD_CONTEXT 4446 // %1!lx! kind, %2 its name, %3!lu! index, %4!ld! counter, %5 state

// Message KVR27469E: a log file that cannot be opened.
#define IDS_KVR27469_TEXT 6328 // %1 file
#define IDS_KVR27469_EXPLANATION 6329
#define IDS_KVR27469_SYSTEM_ACTION 6330
#define IDS_KVR27469_USER_RESPONSE 6331

// Message KVR27069E: a log flag that does not exist.
#define IDS_KVR27069_TEXT 6468 // %1 program
#define IDS_KVR27069_EXPLANATION 6469
#define IDS_KVR27069_SYSTEM_ACTION 6470
#define IDS_KVR27069_USER_RESPONSE 6471

// Logs. 3884, 3886 and 3887 go to the standard error stream as they are, so they end their line themselves.
#define IDS_ADMIN_LOG 3016 // %1 path, %2 on or off
#define IDS_OFF 3522
#define IDS_LOG_NOT_READY 3884
#define IDS_REGISTRY_READ_FAILED 3886  // %1 value name, %2 failure
#define IDS_REGISTRY_WRITE_FAILED 3887 // %1 value name, %2 failure
#define IDS_ON 4471

// Events.
#define IDS_EVENT 3491 // %1 prefix, %2 types, %3 id, %4 message

// Volumes. A mount point's line begins with the line end, since these lines are put one after the other behind the
// drive letter. Values stand in column 24, like the second line of a mount point, which the library adds.
#define IDS_MOUNT_POINT 4532     // %1 prefix, %2!lu! number, %3 text
#define IDS_NO_MOUNT_POINTS 4533 // %1 prefix
#define IDS_VOLUME 4537 // %1 prefix, %2!lu! drive type, %3 its name, %4 prefix, %5 drive letter, %6 mount point lines,
// %7 prefix, %8 id, %9 prefix, %10 label, %11 prefix, %12 file system, %13 prefix, %14!lx! serial number,
// %15 prefix, %16!lx! flags, %17 prefix, %18!lu! name length, %19 prefix, %20!lu! sectors per cluster,
// %21 prefix, %22!lu! bytes per sector, %23 prefix, %24!lu! cluster size, %25 prefix, %26 capacity,
// %27 prefix, %28 available, %29 prefix, %30 free, %31 prefix, %32 used, %33!c! percent sign,
// %34 prefix, %35 recorded, %36 prefix, %37 updated

// The machine. An address line begins with the line end, like the line of a mount point.
#define IDS_HOST_ADDRESS 4423 // %1 prefix, %2!lu! index, %3 address, %4!lx! the same as number
#define IDS_MACHINE 4424      // %1 prefix, %2 system root, %3 prefix, %4 code page, %5 prefix, %6 host name, %7 lines

// Display names of date and time formats.
#define IDS_DATE_MDY_SLASHES 761
#define IDS_DATE_DMY_DASHES 762
#define IDS_DATE_YMD_DASHES 763
#define IDS_DATE_DMY_DOTS 764
#define IDS_DATE_YMD_DOTS 765
#define IDS_DATE_DMY_SLASHES 766
#define IDS_DATE_YMD_SLASHES 1005
#define IDS_TIME_COLONS 770
#define IDS_TIME_COMMAS 771
#define IDS_TIME_DOTS 772
#define IDS_TIME_COLONS_AM_PM 773

// hsmscan, help: 20000 to 20039. An option's syntax is its label, its help the text beside it; both wrap freely.
#define IDS_HSMSCAN_USAGE 20000
#define IDS_HSMSCAN_PURPOSE 20001
#define IDS_HSMSCAN_OPTIONS 20002
#define IDS_HSMSCAN_MIN_SIZE_SYNTAX 20003
#define IDS_HSMSCAN_MIN_SIZE_HELP 20004
#define IDS_HSMSCAN_MIN_AGE_SYNTAX 20005
#define IDS_HSMSCAN_MIN_AGE_HELP 20006
#define IDS_HSMSCAN_LARGEST_SYNTAX 20007
#define IDS_HSMSCAN_LARGEST_HELP 20008
#define IDS_HSMSCAN_LANGUAGE_SYNTAX 20009
#define IDS_HSMSCAN_LANGUAGE_HELP 20010
#define IDS_HSMSCAN_HELP_SYNTAX 20011
#define IDS_HSMSCAN_HELP_HELP 20012
#define IDS_HSMSCAN_VERSION_SYNTAX 20013
#define IDS_HSMSCAN_VERSION_HELP 20014
#define IDS_HSMSCAN_VERSION 20015 // %1 version
#define IDS_HSMSCAN_ROOT_SYNTAX 20016
#define IDS_HSMSCAN_ROOT_HELP 20017
#define IDS_HSMSCAN_LOG_LEVEL_SYNTAX 20018
#define IDS_HSMSCAN_LOG_LEVEL_HELP 20019
#define IDS_HSMSCAN_LOG_DIR_SYNTAX 20020
#define IDS_HSMSCAN_LOG_DIR_HELP 20021
#define IDS_HSMSCAN_LOG_SIZE_SYNTAX 20022
#define IDS_HSMSCAN_LOG_SIZE_HELP 20023

// hsmscan, errors in the command line: 20040 to 20079.
#define IDS_HSMSCAN_UNKNOWN_OPTION 20040 // %1 option
#define IDS_HSMSCAN_VALUE_MISSING 20041  // %1 option
#define IDS_HSMSCAN_VALUE_INVALID 20042  // %1 option, %2 value
#define IDS_HSMSCAN_NO_PATH 20043
#define IDS_HSMSCAN_LANGUAGE_UNKNOWN 20044       // %1 name
#define IDS_HSMSCAN_LANGUAGE_NOT_INSTALLED 20045 // %1 name
#define IDS_HSMSCAN_HELP_HINT 20046

// hsmscan, course of a scan: 20080 to 20119.
#define IDS_HSMSCAN_SCANNING 20080 // %1 path
#define IDS_HSMSCAN_COMPLETED 20081
#define IDS_HSMSCAN_COMPLETED_WITH_FAILURES 20082
#define IDS_HSMSCAN_CANCELED 20083

// hsmscan, headings and totals: 20120 to 20199. A total's text is a label in the left column.
#define IDS_HSMSCAN_HEADING_TOTALS 20120
#define IDS_HSMSCAN_HEADING_LARGEST 20121
#define IDS_HSMSCAN_HEADING_FAILURES 20122
#define IDS_HSMSCAN_TOTAL_FILES 20130
#define IDS_HSMSCAN_TOTAL_DIRECTORIES 20131
#define IDS_HSMSCAN_TOTAL_BYTES 20132
#define IDS_HSMSCAN_TOTAL_OFFLINE 20133
#define IDS_HSMSCAN_TOTAL_SPARSE 20134
#define IDS_HSMSCAN_TOTAL_COMPRESSED 20135
#define IDS_HSMSCAN_TOTAL_ENCRYPTED 20136
#define IDS_HSMSCAN_TOTAL_HIDDEN 20137
#define IDS_HSMSCAN_TOTAL_SYSTEM 20138
#define IDS_HSMSCAN_TOTAL_READ_ONLY 20139
#define IDS_HSMSCAN_TOTAL_REPARSE_POINTS 20140
#define IDS_HSMSCAN_TOTAL_CANDIDATE_FILES 20141
#define IDS_HSMSCAN_TOTAL_CANDIDATE_BYTES 20142
#define IDS_HSMSCAN_TOTAL_UNREADABLE 20143
#define IDS_HSMSCAN_LARGEST_LINE 20160 // %1 size, %2 path

// hsmscan, numbered messages: from 20200, four ids each: text, explanation, system action, user response.
// Message KVR29001E: a directory that cannot be read.
#define IDS_KVR29001_TEXT 20200 // %1 path
#define IDS_KVR29001_EXPLANATION 20201
#define IDS_KVR29001_SYSTEM_ACTION 20202
#define IDS_KVR29001_USER_RESPONSE 20203

// Message KVR29002E: a path that does not exist or is not a directory.
#define IDS_KVR29002_TEXT 20204 // %1 path
#define IDS_KVR29002_EXPLANATION 20205
#define IDS_KVR29002_SYSTEM_ACTION 20206
#define IDS_KVR29002_USER_RESPONSE 20207

#endif
