#pragma once

// The name of a drive type as the platform's headers spell it; NULL for a number that is none.
inline constexpr wchar_t const * f_driveTypeName(unsigned int driveType)
{
    constexpr wchar_t const * NAMES[] = {L"DRIVE_UNKNOWN", L"DRIVE_NO_ROOT_DIR", L"DRIVE_REMOVABLE", L"DRIVE_FIXED",
                                         L"DRIVE_REMOTE",  L"DRIVE_CDROM",       L"DRIVE_RAMDISK"};
    return driveType < sizeof NAMES / sizeof *NAMES ? NAMES[driveType] : nullptr;
}
