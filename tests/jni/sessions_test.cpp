#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "adapter_sessions.h"
#include "jni_agent_shared.h"
#include "jni_support.h"
#include "sim_support.h"
#include "stdout_capture.h"

namespace {

class Sessions : public SimTest {
protected:
    void SetUp() override
    {
        SimTest::SetUp();
        dvh::clearHandles();
        RemoveAllHbasFromHbaList();
    }
    void TearDown() override
    {
        RemoveAllHbasFromHbaList();
        dvh::clearHandles();
        SimTest::TearDown();
    }
    static std::vector<uint32_t> registryNumbers()
    {
        RegistryLock lock;
        std::vector<uint32_t> numbers;
        for (SDMHba* hba = g_HbaList.firstHba; hba; hba = hba->next)
            numbers.push_back(hba->HbaNumber);
        EXPECT_EQ(g_HbaList.count, numbers.size());
        return numbers;
    }
};

TEST_F(Sessions, HandleTableAndRegistryFollowOpensAndCloses)
{
    ASSERT_TRUE(dvh::openDeviceShared(0));
    ASSERT_TRUE(dvh::openDeviceShared(1));
    EXPECT_EQ(10u, dvh::handleAt(0));
    EXPECT_EQ(11u, dvh::handleAt(1));
    EXPECT_EQ((std::vector<uint32_t>{0, 1}), registryNumbers());
    ASSERT_NE(nullptr, FindHbaDeviceInHbaList(11));
    EXPECT_EQ(1u, FindHbaDeviceInHbaList(11)->HbaNumber);

    // An absent instance changes nothing and prints nothing.
    StdoutCapture quiet;
    EXPECT_FALSE(dvh::openDeviceShared(2));
    EXPECT_EQ("", quiet.finish());
    EXPECT_EQ(0u, dvh::handleAt(2));
    EXPECT_EQ((std::vector<uint32_t>{0, 1}), registryNumbers());

    // Reopening an instance whose handle is listed leaves the registry as it was.
    ASSERT_TRUE(dvh::openDeviceShared(1));
    EXPECT_EQ((std::vector<uint32_t>{0, 1}), registryNumbers());

    // Opening instance 0 starts a fresh enumeration.
    ASSERT_TRUE(dvh::openDeviceShared(0));
    EXPECT_EQ((std::vector<uint32_t>{0}), registryNumbers());
    ASSERT_TRUE(dvh::openDeviceShared(1));

    // Closing one adapter discards every registry record but keeps the other handle.
    EXPECT_TRUE(dvh::closeDeviceShared(1));
    EXPECT_EQ(0u, dvh::handleAt(1));
    EXPECT_EQ(10u, dvh::handleAt(0));
    EXPECT_TRUE(registryNumbers().empty());

    // A failed close keeps the entry and still empties the registry.
    ASSERT_TRUE(dvh::openDeviceShared(1));
    izksim_set_fault("SDCloseDeviceiSCSI", 0x20000001u, 1);
    EXPECT_FALSE(dvh::closeDeviceShared(1));
    EXPECT_EQ(11u, dvh::handleAt(1));
    EXPECT_TRUE(registryNumbers().empty());
}

TEST_F(Sessions, LibrarySeesInstancesAndHandles)
{
    dvh::openDeviceShared(1);
    dvh::closeDeviceShared(1);
    dvh::closeDeviceShared(1);  // slot cleared: handle 0 goes to the library
    dvh::closeDeviceShared(7);  // never opened
    auto opens = simCalls("SDOpenDeviceiSCSI");
    ASSERT_EQ(1u, opens.size());
    EXPECT_EQ(1, opens[0]["args"]["instance"]);
    auto closes = simCalls("SDCloseDeviceiSCSI");
    ASSERT_EQ(3u, closes.size());
    EXPECT_EQ(11, closes[0]["args"]["handle"]);
    EXPECT_EQ(0, closes[1]["args"]["handle"]);
    EXPECT_EQ(0, closes[2]["args"]["handle"]);
}

TEST_F(Sessions, InstanceNumbersOutsideTheTableAreSafe)
{
    EXPECT_EQ(0u, dvh::handleAt(-1));
    EXPECT_EQ(0u, dvh::handleAt(32));
    EXPECT_EQ(0u, dvh::handleAt(INT32_MIN));
    dvh::setHandleAt(32, 55);
    dvh::setHandleAt(-1, 55);
    EXPECT_EQ(-1, findHBADevHandleIndex(55));

    EXPECT_FALSE(dvh::openDeviceShared(-1));
    EXPECT_FALSE(dvh::openDeviceShared(INT32_MAX));
    EXPECT_FALSE(dvh::closeDeviceShared(-5));
    EXPECT_FALSE(dvh::closeDeviceShared(1000));
    for (const auto& call : simCalls("SDCloseDeviceiSCSI"))
        EXPECT_EQ(0, call["args"]["handle"]);
}

TEST_F(Sessions, FindHandleIndexTakesTheLowestEntry)
{
    EXPECT_EQ(0, findHBADevHandleIndex(0));
    dvh::setHandleAt(0, 100);
    dvh::setHandleAt(5, 300);
    dvh::setHandleAt(9, 300);
    EXPECT_EQ(5, findHBADevHandleIndex(300));
    EXPECT_EQ(1, findHBADevHandleIndex(0));
    EXPECT_EQ(-1, findHBADevHandleIndex(301));
    dvh::clearHandles();
    EXPECT_EQ(-1, findHBADevHandleIndex(300));
}

TEST_F(Sessions, VersionTextIsBoundedAndTerminated)
{
    char buffer[31];
    dvh::versionShared(buffer);
    EXPECT_GT(std::string(buffer).size(), 0u);
    auto calls = simCalls("SDGetVersioniSCSI");
    ASSERT_EQ(1u, calls.size());
    EXPECT_EQ(31, calls[0]["args"]["length"]);

    izksim_set_fault("SDGetVersioniSCSI", 0x20000003u, 1);
    dvh::versionShared(buffer);
    EXPECT_EQ("", std::string(buffer));
}

TEST_F(Sessions, TraceSwitch)
{
    ASSERT_TRUE(dvh::openDeviceShared(1));
    izksim_clear_call_log();
    std::string file = ::testing::TempDir() + "dvh_trace_test.txt";

    EXPECT_EQ(dvh::kStatusBadIndex, dvh::enableSdmTraceShared(32, file.c_str()));
    EXPECT_EQ(0, dvh::enableSdmTraceShared(1, nullptr));
    EXPECT_TRUE(simCalls("SDEnableDebugTraceiSCSI").empty());

    EXPECT_EQ(0, dvh::enableSdmTraceShared(1, file.c_str()));
    auto calls = simCalls("SDEnableDebugTraceiSCSI");
    ASSERT_EQ(1u, calls.size());
    EXPECT_EQ(11, calls[0]["args"]["handle"]);
    EXPECT_EQ(-1, calls[0]["args"]["level"]);
    EXPECT_EQ(file, calls[0]["text"]["fileName"]);

    izksim_set_fault("SDEnableDebugTraceiSCSI", 0x2000abcdu, 1);
    StdoutCapture capture;
    EXPECT_EQ(0x2000abcd, dvh::enableSdmTraceShared(1, file.c_str()));
    EXPECT_EQ("JNI: SDEnableDebugTraceiSCSI: 2000abcd \n", capture.finish());
    std::remove(file.c_str());
}

}  // namespace
