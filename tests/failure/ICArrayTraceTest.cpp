#include "hsmbase/failure/ICArray.h"
#include "tests/support/LoggedFailure.h"

TEST(ICArrayTrace, SortWithoutComparison_IsAnErrorForAnySize)
{
    ICTracedProcess const process;
    ICArray<int *, int *> array;
    for (int size = 0; size < 3; ++size) {
        SCOPED_TRACE(size);
        EXPECT_THAT(process.mf_run([&] { array.mf_sort(nullptr); }),
                    f_fails(ICErrno::_E_::Parameter, 'E', "ICArray::mf_sort", "NULL == f_compare"));
        array.Add(nullptr);
    }
}
