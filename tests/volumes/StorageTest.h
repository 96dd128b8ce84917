#pragma once

#include "hsmbase/volumes/ICStorage.h"
#include "tests/volumes/VolumesTest.h"

// A traced process on a simulated machine, on which a storage can be started; it ends with the test.
class StorageTest : public VolumesTest
{
protected:
    using NUMBERS = std::vector<ulong>;
    using VOLUMES = ICArray<ICVolume *, ICVolume *>;

    ~StorageTest() override
    {
        if (ICStorage::mf_isInitialized()) ICStorage::mf_deleteInstance();
    }

    static ICStorage & mf_start()
    {
        ICStorage::mf_createInstance();
        return *ICStorage::m_pThis;
    }

    ICTracedAction mf_tryToStart() const
    {
        return m_process.mf_run([] { ICStorage::mf_createInstance(); });
    }

    // The numbers of the volumes of a storage, 0 for none.
    static NUMBERS mf_numbers(ICStorage const & storage = *ICStorage::m_pThis)
    {
        NUMBERS numbers;
        for (INT_PTR index = 0; index < storage.m_aVolumes.GetCount(); ++index) {
            ICVolume const * const volume = storage.m_aVolumes[index];
            numbers.push_back(volume == nullptr ? 0 : volume->mf_getSerialNumber());
        }
        return numbers;
    }

    // A text that shows a failure, perhaps with more behind it. "@" is the id path of volume `number`.
    static std::string mf_shown(std::string const & before, ICErrno const & failure, std::string const & after = {},
                                ulong number = 1)
    {
        return f_logged(f_at(before, mf_id(number)), failure) + f_at(after, mf_id(number));
    }

    static auto mf_isRecord(char level, std::string const & function, std::string const & text)
    {
        return f_isRecord(level, "ICStorage::" + function, text);
    }

    // The action threw the failure, and an error line has this text.
    static testing::Matcher<ICTracedAction const &> mf_fails(ICErrno const & failure, std::string const & function,
                                                             std::string const & text)
    {
        ICErrnoData const & data = failure.mf_getErrnoData();
        return f_fails(data, data.mf_getOriginatorErrno(), 'E', "ICStorage::" + function, text);
    }

    // The records of one function.
    static std::vector<ICTraceRecord> mf_of(std::string const & function, std::vector<ICTraceRecord> const & records)
    {
        std::vector<ICTraceRecord> found;
        for (ICTraceRecord const & record : records)
            if (testing::Matches(ICTagMatcher("ICStorage::" + function))(record)) found.push_back(record);
        return found;
    }

    // Lets a wait, or a release, fail by its number.
    static constexpr ICCalls (*mf_only)(ulong) = &ICCalls::mf_only;
    static ICAnswer mf_refusedWait() { return ICAnswer::mf_error(DENIED, WAIT_FAILED); }
};
