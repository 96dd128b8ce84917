#include "tests/volumes/VolumesTest.h"

using testing::IsEmpty;

namespace
{

class ICMountPointTest : public VolumesTest
{
protected:
    ICSimulatedVolume & m_second = m_machine.mf_add(2);
    ICVolume const m_volume{mf_id(1)};
    ICVolume const m_mounted{mf_id(2)};
};

} // namespace

TEST_F(ICMountPointTest, FullPath_BeginsWithTheVolumesId)
{
    EXPECT_STREQ(mf_id(1) + L"a\\b\\", ICMountPoint(&m_volume, L"a\\b\\", nullptr).mf_getFullPath());
    EXPECT_STREQ(L"", ICMountPoint().mf_getFullPath());
}

TEST_F(ICMountPointTest, String_TellsWhatIsMounted)
{
    ICMountPoint const mountPoint(&m_volume, L"a\\", &m_mounted);
    EXPECT_STREQ(L"> '" + mf_id(1) + L"a\\'\r\n                        ==> '" + mf_id(2) + L"'",
                 mountPoint.mf_toString(L"> "));
}

TEST_F(ICMountPointTest, String_NothingMounted)
{
    EXPECT_STREQ(L"'" + mf_id(1) + L"a\\'\r\n                        ==> N/A",
                 ICMountPoint(&m_volume, L"a\\", nullptr).mf_toString(L""));
}

TEST_F(ICMountPointTest, MountedVolume_SameByGuid_IsTakenSilently)
{
    ICVolume const again(mf_id(2));
    ICMountPoint mountPoint(&m_volume, L"a\\", nullptr);
    EXPECT_THAT(m_process.mf_trace([&] {
        mountPoint.mf_setMountedVolume(&m_mounted);
        mountPoint.mf_setMountedVolume(&again);
        EXPECT_EQ(&again, mountPoint.m_pMountedVolume);
        mountPoint.mf_setMountedVolume(nullptr);
    }),
                IsEmpty());
    EXPECT_EQ(nullptr, mountPoint.m_pMountedVolume);
}

TEST_F(ICMountPointTest, Arrays_HoldCopies)
{
    ICArray<ICMountPoint, ICMountPoint &> mountPoints;
    ICMountPoint mountPoint(&m_volume, L"a\\", &m_mounted);
    mountPoints.Add(mountPoint);
    mountPoint = ICMountPoint();
    EXPECT_STREQ(mf_id(1) + L"a\\", mountPoints[0].mf_getFullPath());
}
