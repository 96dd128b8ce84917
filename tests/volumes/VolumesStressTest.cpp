// Many threads ask the storage, or one volume, while the machine changes under them.
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICMeetingPoint.h"
#include "tests/volumes/StorageTest.h"

#include <algorithm>
#include <atomic>
#include <thread>

using testing::Each;
using testing::IsEmpty;

namespace
{

constexpr int ASKERS = 4;
constexpr int ROUNDS = 60;

// What went wrong, by thread: nothing.
using COMPLAINTS = std::vector<std::string>;

// A place where threads must not meet: each that comes there gives the others every chance.
class ICLonelyPlace
{
public:
    // While the object lives the thread is there.
    class STAY
    {
    public:
        explicit STAY(ICLonelyPlace & place) : m_place(place)
        {
            if (++m_place.m_visitors > 1) ++m_place.m_meetings;
            for (int turn = 0; turn < 3; ++turn)
                ::SwitchToThread();
        }
        STAY(STAY const &) = delete;
        STAY & operator=(STAY const &) = delete;
        ~STAY() { --m_place.m_visitors; }

    private:
        ICLonelyPlace & m_place;
    };

    int mf_getMeetings() const { return m_meetings; }

private:
    std::atomic<int> m_visitors = 0;
    std::atomic<int> m_meetings = 0;
};

class VolumesStress : public StorageTest
{
protected:
    // Arrays that grow give the other threads a turn.
    ICImportPatch const m_growth{"realloc", [](void * block, std::size_t size) {
                                     ::SwitchToThread();
                                     return std::realloc(block, size);
                                 }};

    // Each thread does `ask` so many times, with its own number and that of the round; meanwhile this one does `change`
    // with numbers that count up.
    template<class ASK, class CHANGE>
    void mf_ask(ASK const & ask, CHANGE const & change)
    {
        std::vector<COMPLAINTS> complaints(ASKERS);
        std::atomic<int> working = ASKERS;
        ICMeetingPoint start(ASKERS + 1);
        std::vector<std::jthread> threads;
        for (int asker = 0; asker < ASKERS; ++asker)
            threads.emplace_back([&, asker] {
                ICThreadContext::mf_create(ICThreadContext::TYPE_WORKER, static_cast<ulong>(asker));
                start.mf_arrive();
                for (int round = 0; round < ROUNDS; ++round)
                    ask(asker + round, complaints[static_cast<std::size_t>(asker)]);
                ICThreadContext::mf_delete();
                --working;
            });
        start.mf_arrive();
        for (int number = 0; working != 0; ++number)
            change(number);
        threads.clear();
        EXPECT_THAT(complaints, Each(IsEmpty()));
    }

    // Complains about every failure that is not among the constants.
    template<class QUESTION>
    static void mf_allowing(std::initializer_list<ICErrnoValue const *> constants, COMPLAINTS & complaints,
                            QUESTION && question)
    {
        try {
            question();
        }
        catch (ICErrno & failure) {
            ulong const number = failure.mf_getErrnoData().mf_getNumber();
            bool const isStated = std::any_of(constants.begin(), constants.end(),
                                              [&](auto constant) { return constant->mf_getNumber() == number; });
            if (!isStated) complaints.push_back(f_logged("failure: ", failure.mf_toString()));
        }
    }

    static void mf_check(bool isRight, char const * what, COMPLAINTS & complaints)
    {
        if (!isRight) complaints.emplace_back(what);
    }
};

// Volume 1 with the letter D and, at D:\archive, volume 2 are always there. Volume 3 goes offline and comes back, 4
// comes and goes with the letter E, and from 10 on newcomers follow each other.
class ICStorageStress : public VolumesStress
{
protected:
    static constexpr ulong NEWCOMERS = 10;
    static constexpr ulong LAST_NEWCOMER = 50;

    ICStorageStress() { m_first.mf_mount(L"archive\\", m_second); }

    void mf_changeMachine(int number)
    {
        m_machine.mf_change([&] {
            m_third.m_isReady = number % 2 == 0;
            if (number % 3 == 0) mf_toggleFourth();
            if (m_newcomer < LAST_NEWCOMER) {
                m_machine.mf_remove(m_newcomer++);
                m_machine.mf_add(m_newcomer, L"").mf_mount(L"a\\", m_first);
            }
        });
        ICStorage::mf_update(0);
    }

    void mf_toggleFourth()
    {
        if (m_hasFourth)
            m_machine.mf_remove(4);
        else
            m_machine.mf_add(4, L"E");
        m_hasFourth = !m_hasFourth;
    }

    static void mf_findThatIsThere(COMPLAINTS & complaints)
    {
        mf_allowing({}, complaints, [&] {
            mf_check(ICStorage::mf_getVolume(L"D:\\x")->mf_getSerialNumber() == 1, "not volume 1", complaints);
            mf_check(ICStorage::mf_getVolume(L"D:\\archive\\x")->mf_getSerialNumber() == 2, "not volume 2", complaints);
            mf_check(ICStorage::mf_isLocalPath(L"D:\\x") == 1, "not local", complaints);
            mf_check(ICStorage::mf_getVolume(2) != nullptr, "no volume 2 by number", complaints);
        });
    }

    static void mf_findThatComesAndGoes(COMPLAINTS & complaints)
    {
        mf_allowing({&ICErrno::_E_::ItemNotFound, &ICErrno::_E_::Path, &ICErrno::_E_::FileSystem}, complaints, [&] {
            mf_check(ICStorage::mf_getVolume(L"E:\\x")->mf_getSerialNumber() == 4, "not volume 4", complaints);
        });
        mf_allowing({}, complaints, [&] {
            ICStorage::mf_isLocalPath(L"E:\\x");
            ICVolume const * const volume = ICStorage::mf_getVolume(4);
            mf_check(volume == nullptr || volume->mf_getSerialNumber() == 4, "not volume 4 by number", complaints);
        });
    }

    static void mf_update(COMPLAINTS & complaints)
    {
        // What a volume that vanishes while it is built fails with.
        mf_allowing({&ICErrno::_E_::System, &ICErrno::_E_::FileSystem}, complaints, [] { ICStorage::mf_update(1); });
    }

    static void mf_lookAtAll(COMPLAINTS & complaints)
    {
        VOLUMES before, after;
        ICArray<ICMountPoint, ICMountPoint &> mountPoints;
        mf_allowing({}, complaints, [&] {
            ICStorage::mf_getVolumes(before);
            before[0]->mf_getMountPoints(mountPoints);
            mf_check(mountPoints[0].mf_getFullPath() == mf_id(1) + L"archive\\", "another mount point", complaints);
            ICStorage::mf_getVolumes(after);
            for (INT_PTR index = 0; index < before.GetCount(); ++index) {
                CString const text = before[index]->mf_toString(L"");
                mf_check(text.Find(before[index]->mf_getGUID()) > 0, "another text", complaints);
                mf_check(before[index] == after[index], "another order", complaints);
            }
        });
    }

    ICSimulatedVolume & m_second = m_machine.mf_add(2);
    ICSimulatedVolume & m_third = m_machine.mf_add(3);
    bool m_hasFourth = false;
    ulong m_newcomer = NEWCOMERS;
};

class ICVolumeStress : public VolumesStress
{
protected:
    // Always half full, if ready.
    void mf_changeSpace(ICVolume const & volume, int number)
    {
        m_machine.mf_change([&] {
            m_first.m_totalFree = 1'000'000u * static_cast<ULONG64>(number % 100 + 1);
            m_first.m_total = 2 * m_first.m_totalFree;
            m_first.m_isReady = number % 3 != 0;
        });
        volume.mf_update();
    }

    static long long mf_figure(CString const & text, wchar_t const * name)
    {
        int const at = text.Find(name);
        return at < 0 ? -1 : ::_wtoi64(text.Mid(at + ::lstrlenW(name)).TrimLeft());
    }

    static void mf_lookAtSpace(ICVolume const & volume, COMPLAINTS & complaints)
    {
        mf_allowing({&ICErrno::_E_::DeviceNotReady}, complaints, [&] {
            mf_check(volume.mf_getDiskUsagePercent() == 50.0, "not half full", complaints);
            mf_check(volume.mf_getTotalNumberOfBytes().mf_getValue() % 2'000'000 == 0, "another size", complaints);
            mf_check(volume.mf_getTotalNumberOfFreeBytes().mf_getValue() % 1'000'000 == 0, "another rest", complaints);
        });
    }

    static void mf_lookAtText(ICVolume const & volume, COMPLAINTS & complaints)
    {
        mf_allowing({}, complaints, [&] {
            CString const text = volume.mf_toString(L"");
            long long const total = mf_figure(text, L"Capacity (bytes):");
            mf_check(total > 0 && total == 2 * mf_figure(text, L"Free in total (bytes):"), "torn figures", complaints);
            ICVolume const copy(volume);
            mf_check(copy.m_totalNumberOfBytes.mf_getValue() == 2 * copy.m_totalNumberOfFreeBytes.mf_getValue(),
                     "torn copy", complaints);
        });
    }

    static void mf_lookAtMountPoints(ICVolume const & volume, COMPLAINTS & complaints)
    {
        ICArray<ICMountPoint, ICMountPoint &> mountPoints;
        mf_allowing({}, complaints, [&] {
            volume.mf_getMountPoints(mountPoints);
            mf_check(mountPoints.GetCount() == 1 && mountPoints[0].mf_getFullPath() == mf_id(1) + L"archive\\",
                     "other mount points", complaints);
        });
    }
};

} // namespace

TEST_F(ICStorageStress, EverybodyAsksWhileVolumesComeAndGo)
{
    mf_start();
    ICLonelyPlace relations;
    decltype(&::GetVolumeNameForVolumeMountPointW) answer = nullptr;
    ICImportPatch const targets(IC_IMPORT(GetVolumeNameForVolumeMountPointW),
                                [&](wchar_t const * root, auto idPath, auto length) {
                                    if (root[0] != L'\\') return answer(root, idPath, length);
                                    ICLonelyPlace::STAY const stay(relations);
                                    return answer(root, idPath, length);
                                });
    answer = targets.mf_original<decltype(answer)>();
    mf_ask(
        [](int number, COMPLAINTS & complaints) {
            switch (number % ASKERS) {
            case 0: return mf_findThatIsThere(complaints);
            case 1: return mf_findThatComesAndGoes(complaints);
            case 2: return mf_update(complaints);
            default: return mf_lookAtAll(complaints);
            }
        },
        [this](int number) { mf_changeMachine(number); });
    EXPECT_EQ(0, relations.mf_getMeetings());
    ICStorage::mf_update(1);
    NUMBERS numbers = mf_numbers();
    EXPECT_TRUE(ICStorage::mf_getVolume(m_newcomer)) << "the last newcomer at least";
    std::sort(numbers.begin(), numbers.end());
    EXPECT_EQ(numbers.end(), std::adjacent_find(numbers.begin(), numbers.end())) << "each of them once";
}

TEST_F(ICVolumeStress, EverybodyAsksWhileTheSpaceChanges)
{
    m_first.mf_mount(L"archive\\", m_machine.mf_add(2));
    ICVolume const volume(mf_id(1));
    ICLonelyPlace update;
    decltype(&::GetDiskFreeSpaceExW) answer = nullptr;
    ICImportPatch const space(IC_IMPORT(GetDiskFreeSpaceExW), [&](auto... arguments) {
        ICLonelyPlace::STAY const stay(update);
        return answer(arguments...);
    });
    answer = space.mf_original<decltype(answer)>();
    mf_ask(
        [&volume](int number, COMPLAINTS & complaints) {
            switch (number % ASKERS) {
            case 0: return mf_allowing({}, complaints, [&volume] { volume.mf_update(); });
            case 1: return mf_lookAtSpace(volume, complaints);
            case 2: return mf_lookAtText(volume, complaints);
            default: return mf_lookAtMountPoints(volume, complaints);
            }
        },
        [&](int number) { mf_changeSpace(volume, number); });
    EXPECT_EQ(0, update.mf_getMeetings());
    EXPECT_DOUBLE_EQ(50.0, volume.m_diskUsagePercent);
}
