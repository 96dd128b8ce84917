// The last steps of a start-up: the machine's facts, and its volumes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "frame/ICProgramFrame.h"
#include "hsmbase/context/ICStatus.h"
#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/registry/ICRegistry.h"
#include "hsmbase/system/ICSystem.h"
#include "hsmbase/volumes/ICStorage.h"
#include "hsmbase/volumes/ICVolume.h"
#include "tests/support/ICChildProcess.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICRegistrySandbox.h"
#include "tests/support/ICSimulatedMachine.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/ICTraceReader.h"
#include "tests/support/ICUnixHost.h"

using testing::Contains;
using testing::Not;
using testing::StartsWith;

// A frame comes up once in a process, so each test has a process of its own, which answers 0 for right.

namespace
{

ICProgramFrame::OPTIONS f_options(std::vector<std::wstring> const & arguments, bool isStorageWanted = true)
{
    return {.m_registryRoot = arguments[0].c_str(),
            .m_logDirectory = arguments[1].c_str(),
            .m_traceLog = L"trace.log",
            .m_storage = isStorageWanted};
}

bool f_hasStorageStatus()
{
    return ICStatus::mf_implGetInstance().mf_implHasStatus(ICStatus::STATUS_STORAGE);
}

class ICProgramFrameStorage : public testing::Test
{
protected:
    std::string mf_failureOf(char const * child) const
    {
        ICChildProcess process(child, {m_registry.mf_getPath(), m_directory.mf_getPath()});
        ulong const answer = process.mf_getExitCode();
        return answer == 0 ? "" : std::to_string(answer) + process.mf_getOutput() + process.mf_getErrors();
    }
    std::vector<ICTraceRecord> mf_readTrace() const { return f_readTrace(m_directory / L"trace.log"); }

    ICRegistrySandbox const m_registry;
    ICTemporaryDirectory const m_directory;
};

} // namespace

IC_CHILD(frame_storage)
{
    {
        ICProgramFrame const frame(f_options(arguments));
        if (!ICStorage::mf_isInitialized() || !f_hasStorageStatus()) return 1;
        // The drive of the system is there on every machine.
        ICVolume const * const volume = ICStorage::mf_getVolume(ICSystem::mf_getSystemDrive());
        if (volume == nullptr || volume->mf_getDriveLetterPath() != ICSystem::mf_getSystemDrive()) return 2;
        if (volume->mf_getTotalNumberOfBytes() == ICFileSize(0)) return 3;
    }
    return !ICStorage::mf_isInitialized() && !f_hasStorageStatus() ? 0 : 4;
}

TEST_F(ICProgramFrameStorage, Wanted_KnowsTheRealDrivesAndGoesDownAgain)
{
    ASSERT_EQ("", mf_failureOf("frame_storage"));
    auto const standIns =
        Contains(f_isRecord('I', "winehost", StartsWith("Standing in for what Wine lacks:\nGetDriveTypeW")));
    if (f_isUnixHost())
        EXPECT_THAT(mf_readTrace(), standIns);
    else
        EXPECT_THAT(mf_readTrace(), Not(standIns));
}

IC_CHILD(frame_without_storage)
{
    ICProgramFrame const frame(f_options(arguments, false));
    if (::GetModuleHandleW(L"winehost.dll") != nullptr) return 1;
    return !ICStorage::mf_isInitialized() && !f_hasStorageStatus() ? 0 : 2;
}

TEST_F(ICProgramFrameStorage, NotWanted_LooksForNoVolume)
{
    EXPECT_EQ("", mf_failureOf("frame_without_storage"));
}

IC_CHILD(frame_no_volumes)
{
    ICProgramFrame::OPTIONS const options = f_options(arguments);
    try {
        ICSimulatedMachine machine;
        machine.mf_add(1, L"C").m_fileSystem = L"FAT32";
        ICProgramFrame const frame(options);
        return 1;
    }
    catch (ICErrno & failure) {
        if (!failure.mf_isErrno(ICErrno::_E_::Initialization)) return 2;
    }
    return ICRegistry::m_pThis == nullptr && ICStatus::mf_implGetInstance().mf_implGetStatus() == 0 ? 0 : 3;
}

TEST_F(ICProgramFrameStorage, NoVolumeToManage_TakesAllDown)
{
    ASSERT_EQ("", mf_failureOf("frame_no_volumes"));
    EXPECT_THAT(mf_readTrace(), Contains(f_isRecord('S', "ICStorage::mf_implFindVolumes",
                                                    "No volumes could be made available for storage management")));
}

IC_CHILD(frame_facts)
{
    ICProgramFrame const frame(f_options(arguments, false));
    ICImportFault const name("GetComputerNameExW", ERROR_ACCESS_DENIED);
    ICImportFault const addresses("GetIpAddrTable", ICAnswer::mf_value(ERROR_ACCESS_DENIED));
    if (ICSystem::mf_getHostName().IsEmpty() || !ICSystem::mf_isLocalServer(ICSystem::mf_getHostName())) return 1;
    static_cast<void>(ICSystem::mf_getHostAddresses());
    return name.mf_getCalls() + addresses.mf_getCalls() == 0 ? 0 : 2;
}

TEST_F(ICProgramFrameStorage, FactsOfTheMachine_AreKnownBeforeWorkersAsk)
{
    EXPECT_EQ("", mf_failureOf("frame_facts"));
}

IC_CHILD(frame_no_facts)
{
    ICProgramFrame::OPTIONS const options = f_options(arguments, false);
    {
        ICImportFault const name("GetComputerNameExW", ERROR_ACCESS_DENIED);
        ICProgramFrame const frame(options);
        if (name.mf_getCalls() == 0) return 1;
        if (!ICStatus::mf_canWriteToLogFile()) return 2;
    }
    return 0;
}

TEST_F(ICProgramFrameStorage, FactsThatCannotBeHad_LeaveTheirTraceAndTheFrameIsUp)
{
    ASSERT_EQ("", mf_failureOf("frame_no_facts"));
    EXPECT_THAT(mf_readTrace(),
                Contains(testing::Field(&ICTraceRecord::m_tag, StartsWith("ICSystem::mf_getHostName"))));
}
