#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "jni_agent_shared.h"
#include "stdout_capture.h"

namespace {

class Registry : public ::testing::Test {
protected:
    void SetUp() override { RemoveAllHbasFromHbaList(); }
    void TearDown() override { RemoveAllHbasFromHbaList(); }

    static SDMHba* addHba(SDMGT_HANDLE handle, uint32_t number)
    {
        SDMHba* hba = CreateNewHba();
        hba->HbaHandle = handle;
        hba->HbaNumber = number;
        EXPECT_EQ(0, AddHbaToHbaList(hba));
        return hba;
    }
    static SDMTarget* addTarget(SDMHba* hba, uint32_t id, uint32_t state)
    {
        SDMTarget* target = CreateNewTarget();
        target->TargetID = id;
        target->State = state;
        EXPECT_EQ(0, AddTargetToTargetList(hba, target));
        return target;
    }
};

TEST_F(Registry, AdaptersAppendInOrderAndDuplicatesAreRefused)
{
    SDMHba* a = addHba(100, 0);
    SDMHba* b = addHba(101, 1);
    EXPECT_EQ(2u, GetHbaList()->count);
    EXPECT_EQ(a, g_HbaList.firstHba);
    EXPECT_EQ(b, g_HbaList.lastHba);
    EXPECT_EQ(b, a->next);
    EXPECT_EQ(a, b->prev);

    SDMHba* dup = CreateNewHba();
    dup->HbaHandle = 101;
    EXPECT_EQ(-1, AddHbaToHbaList(dup));
    EXPECT_EQ(2u, GetHbaList()->count);
    EXPECT_EQ(b, FindHbaInHbaList(dup));
    EXPECT_EQ(0, DeleteHba(dup));

    EXPECT_EQ(a, FindHbaDeviceInHbaList(100));
    EXPECT_EQ(nullptr, FindHbaDeviceInHbaList(102));
    EXPECT_EQ(-1, AddHbaToHbaList(nullptr));
    EXPECT_EQ(-1, DeleteHba(nullptr));
}

TEST_F(Registry, RemoveAllEmptiesTheHeadEvenWhenEmpty)
{
    EXPECT_EQ(0, RemoveAllHbasFromHbaList());
    EXPECT_EQ(0u, g_HbaList.count);
    EXPECT_EQ(nullptr, g_HbaList.firstHba);
    EXPECT_EQ(nullptr, g_HbaList.lastHba);

    SDMHba* hba = addHba(100, 0);
    addTarget(hba, 3, 4);
    addTarget(hba, 9, 6);
    EXPECT_EQ(0, RemoveAllHbasFromHbaList());
    EXPECT_EQ(0u, g_HbaList.count);
    EXPECT_EQ(nullptr, g_HbaList.firstHba);
    EXPECT_EQ(nullptr, FindHbaDeviceInHbaList(100));
}

TEST_F(Registry, TargetsKeyedByIdAndRemovedTogether)
{
    SDMHba* hba = addHba(100, 0);
    SDMTarget* t3 = addTarget(hba, 3, 4);
    SDMTarget* t9 = addTarget(hba, 9, 6);
    EXPECT_EQ(2u, hba->TargetList.count);
    EXPECT_EQ(t3, hba->TargetList.firstTarget);
    EXPECT_EQ(t9, hba->TargetList.lastTarget);

    SDMTarget* dup = CreateNewTarget();
    dup->TargetID = 9;
    EXPECT_EQ(-1, AddTargetToTargetList(hba, dup));
    EXPECT_EQ(t9, FindTargetInTargetList(hba, dup));
    EXPECT_EQ(0, DeleteTarget(dup));
    EXPECT_EQ(-1, DeleteTarget(nullptr));

    EXPECT_EQ(t3, FindTargetIdInTargetList(hba, 3));
    EXPECT_EQ(nullptr, FindTargetIdInTargetList(hba, 4));
    EXPECT_EQ(nullptr, FindTargetIdInTargetList(nullptr, 3));

    EXPECT_EQ(0, RemoveAllTargetsFromTargetList(hba));
    EXPECT_EQ(0u, hba->TargetList.count);
    EXPECT_EQ(nullptr, hba->TargetList.firstTarget);
    EXPECT_EQ(nullptr, FindTargetIdInTargetList(hba, 3));
}

TEST_F(Registry, OemAdjustmentKeysOnVendorAndProductPrefixes)
{
    SDMTarget target{};
    std::memcpy(target.TargetVendorID, "DELLxyz ", 8);
    std::memcpy(target.TargetProductID, "PV660Fabc", 9);
    EXPECT_EQ(0, UpdateTargetWithOEMParametersShared(nullptr, &target));
    EXPECT_EQ(8u, target.TargetWWULNOffset);
    EXPECT_EQ(0u, target.TargetAbilityFlags & kTargetAbilityWwulnInquiry);

    SDMTarget other{};
    other.TargetAbilityFlags = 0x1;
    std::memcpy(other.TargetVendorID, "DELL", 4);
    std::memcpy(other.TargetProductID, "PV66X", 5);
    UpdateTargetWithOEMParametersShared(nullptr, &other);
    EXPECT_EQ(8u, other.TargetWWULNOffset);
    EXPECT_EQ(0x40000001u, other.TargetAbilityFlags);

    SDMTarget empty{};
    UpdateTargetWithOEMParametersShared(nullptr, &empty);
    EXPECT_EQ(kTargetAbilityWwulnInquiry, empty.TargetAbilityFlags);
}

TEST_F(Registry, ConcurrentAddsAndRemovalsKeepTheListConsistent)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < 2000; ++i) {
                SDMHba* hba = CreateNewHba();
                hba->HbaHandle = static_cast<SDMGT_HANDLE>(t * 100000 + i);
                if (AddHbaToHbaList(hba) != 0)
                    DeleteHba(hba);
                if (i % 97 == 0)
                    RemoveAllHbasFromHbaList();
                FindHbaDeviceInHbaList(static_cast<SDMGT_HANDLE>(i));
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    RegistryLock lock;
    uint32_t counted = 0;
    SDMHba* prev = nullptr;
    for (SDMHba* hba = g_HbaList.firstHba; hba; hba = hba->next) {
        EXPECT_EQ(prev, hba->prev);
        prev = hba;
        ++counted;
    }
    EXPECT_EQ(g_HbaList.count, counted);
    EXPECT_EQ(prev, g_HbaList.lastHba);
}

}  // namespace
