// Random trees come back as they were, or fail as stated; damaged texts give the stated failures or a restore, and
// nothing else.
#include "tests/registry/BackupModel.h"

#include "tests/support/ICChildProcess.h"
#include "tests/support/PageGuardHeap.h"

namespace
{

constexpr std::uint64_t SEED = 20261122;

using ICRegistryBackupRandom = ICBackupFixture;

// Rounds of damage to backups of a key `root`, of which nothing is written. Answers the first round in which the
// library did something else than it should, and counts those that failed.
std::string f_findDeviation(std::uint64_t seed, int rounds, std::wstring const & root, int & failures)
{
    ICRandomBackups random(seed);
    std::string whole;
    for (int round = 0; round < rounds; ++round) {
        if (round % 50 == 0) whole = ICRandomBackups::mf_bytesOf(random.mf_tree(round % 100 == 0), root);
        std::string bytes = whole;
        random.mf_damage(bytes);
        // A copy of just this size, so that a read behind it meets a page's end where there is one.
        ICBuffer buffer;
        if (!bytes.empty()) buffer.mf_initialize(bytes.data(), static_cast<ulong>(bytes.size()), 1);
        BACKUP_EFFECT const predicted = f_predictRestore(bytes);
        BACKUP_EFFECT const effect = f_catchRestore(buffer);
        if (effect != predicted)
            return "round " + std::to_string(round) + ": " + testing::PrintToString(effect.m_outcome) + " for " +
                   testing::PrintToString(predicted.m_outcome) + ", " + testing::PrintToString(effect.m_writes) +
                   " for " + testing::PrintToString(predicted.m_writes);
        if (effect.m_outcome) ++failures;
    }
    return "";
}

} // namespace

TEST_F(ICRegistryBackupRandom, Trees_ComeBackAsTheyWere)
{
    ICRandomBackups random(SEED);
    std::size_t values = 0;
    for (int round = 0; round < 40; ++round) {
        SCOPED_TRACE(round);
        STRING_TREE const tree = random.mf_tree(false);
        mf_deleteKey();
        mf_write(tree);
        ASSERT_EQ(tree, mf_read());
        std::wstring const text = mf_backup();
        ASSERT_EQ(f_expectedText(m_path.GetString()), text);
        mf_deleteKey();
        ASSERT_EQ(NO_FAILURE, mf_restoreText(text));
        ASSERT_EQ(f_withoutEmptyKeys(tree), mf_read());
        for (auto const & [path, key] : tree)
            values += key.size();
    }
    EXPECT_LT(500u, values);
}

TEST_F(ICRegistryBackupRandom, OddTrees_ComeBackOrFailAsStated)
{
    ICRandomBackups random(SEED + 1);
    std::map<ulong, int> outcomes; // by number, 0: none
    for (int round = 0; round < 80; ++round) {
        SCOPED_TRACE(round);
        STRING_TREE const tree = random.mf_tree(true);
        mf_deleteKey();
        mf_write(tree);
        ASSERT_EQ(tree, mf_read());
        std::wstring const text = mf_backup();
        ASSERT_EQ(f_expectedText(m_path.GetString()), text);
        mf_deleteKey();
        BACKUP_EFFECT const predicted = f_predictRestore(BACKUP_MARK + f_bytesOf(text));
        ASSERT_EQ(predicted.m_outcome, mf_restoreText(text));
        ASSERT_EQ(f_treeOf(predicted.m_writes, m_path.GetString()), mf_read());
        ++outcomes[predicted.m_outcome ? predicted.m_outcome->m_number : 0];
    }
    EXPECT_LT(15, outcomes[0]);
    EXPECT_LT(15, outcomes[ICErrno::_E_::DataCorrupted.mf_getNumber()]);
}

TEST_F(ICRegistryBackupRandom, DamagedTexts_GiveTheStatedFailuresOrARestore)
{
    int failures = 0;
    EXPECT_EQ("", f_findDeviation(SEED + 2, 5'000, m_path.GetString(), failures));
    EXPECT_LT(2'500, failures);
    EXPECT_GT(5'000, failures);
}

IC_CHILD(restore_damaged_texts)
{
    f_installPageGuardHeap();
    ICRegistry::mf_createInstance(L"Software\\none");
    int failures = 0;
    std::string const deviation = f_findDeviation(SEED + 3, 150, L"Software\\none", failures);
    ICRegistry::mf_deleteInstance();
    std::fputs(deviation.c_str(), stderr);
    return deviation.empty() && failures > 75 ? 0 : 1;
}

TEST(ICRegistryBackupGuarded, DamagedTexts_TouchNoMemoryOfOthers)
{
    ICChildProcess child("restore_damaged_texts");
    EXPECT_EQ(0u, child.mf_getExitCode()) << child.mf_getErrors();
}
