#pragma once

#include "hsmbase/paths/ICPath.h"
#include "hsmbase/system/ICSystem.h"
#include "hsmbase/volumes/ICStorage.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICSimulatedMachine.h"
#include "tests/support/LoggedPlace.h"
#include "tests/support/PlatformFailure.h"

#include <lmcons.h>

#include <lmapibuf.h>
#include <lmuse.h>

// The name of the machine, for as long as the object lives; empty: it is asked for anew.
class ICSimulatedHost
{
public:
    explicit ICSimulatedHost(wchar_t const * name) : m_before(ICSystem::m_sHostName) { ICSystem::m_sHostName = name; }
    ICSimulatedHost(ICSimulatedHost const &) = delete;
    ICSimulatedHost & operator=(ICSimulatedHost const &) = delete;
    ~ICSimulatedHost() { ICSystem::m_sHostName = m_before; }

private:
    CString const m_before;
};

// What the network answers for a mapped drive.
class ICSimulatedShare
{
public:
    std::wstring m_share = L"\\\\srv\\share";
    ulong m_code = NO_ERROR;
    std::wstring m_asked;

private:
    ICImportPatch const m_onAsk{IC_IMPORT(NetUseGetInfo),
                                [this](wchar_t *, wchar_t * name, DWORD, BYTE ** buffer) -> DWORD {
                                    m_asked = name;
                                    m_use.ui0_remote = m_share.data();
                                    if (m_code == NO_ERROR) *buffer = reinterpret_cast<BYTE *>(&m_use);
                                    return m_code;
                                }};
    ICImportPatch const m_onFree{IC_IMPORT(NetApiBufferFree), [](void *) { return DWORD{NO_ERROR}; }};
    USE_INFO_0 m_use = {};
};

inline constexpr wchar_t SHADOW_COPY[] = L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy7";

// A traced process on the machine HOST, which has the local volume D, the drive N mapped to \\srv\share, and a shadow
// copy. The storage is up, and knows D.
class PathModelTest : public testing::Test
{
protected:
    static constexpr ulong DENIED = ERROR_ACCESS_DENIED;

    PathModelTest()
    {
        m_machine.mf_add(2, L"N").m_driveType = DRIVE_REMOTE;
        m_shadowCopy.m_idPath = std::wstring(SHADOW_COPY) + L"\\";
        m_shadowCopy.m_driveType = DRIVE_RAMDISK;
        ICStorage::mf_createInstance();
    }

    ~PathModelTest() override { ICStorage::mf_deleteInstance(); }

    // The two answers as they are kept: 0, 1, or 2 for not yet found out.
    static int mf_kept(ICBool answer) { return answer.mf_isSet() ? answer.mf_isTrue() : 2; }
    static int mf_keptLocal(ICPath const & path) { return mf_kept(path.m_isLocal); }
    static int mf_keptShadowCopy(ICPath const & path) { return mf_kept(path.m_isShadowCopy); }

    ICTracedProcess const m_process;
    ICSimulatedHost const m_host{L"HOST"};
    ICSimulatedShare m_share;
    ICSimulatedMachine m_machine;
    ICSimulatedVolume & m_local = m_machine.mf_add(1, L"D");
    ICSimulatedVolume & m_shadowCopy = m_machine.mf_add(7);
};

// Texts without drive lie on D, as if it were the current drive.
class ICCurrentDriveD
{
    ICImportPatch const m_patch{IC_IMPORT(GetVolumePathNameW), [](wchar_t const *, wchar_t * root, DWORD) {
                                    ::wcscpy_s(root, 4, L"D:\\");
                                    return TRUE;
                                }};
};
