#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "adapter_sessions.h"
#include "jni_agent_shared.h"
#include "sim_support.h"
#include "stdout_capture.h"

namespace {

// Default scenario, adapter 0 (handle 10): target 0 answers page 0x83 on
// LUNs 0..2, target 1's LUN 0 refuses the page.
class Wwuln : public SimTest {
protected:
    void SetUp() override
    {
        SimTest::SetUp();
        ASSERT_TRUE(dvh::openDeviceShared(0));
        hba.HbaHandle = dvh::handleAt(0);
        izksim_clear_call_log();
    }
    void TearDown() override
    {
        dvh::closeDeviceShared(0);
        SimTest::TearDown();
    }
    void address(uint16_t targetId)
    {
        target.TargetProperty.TargetInfo.TargetID = targetId;
        target.DeviceEntry.TargetID = targetId;
        UpdateTargetWithOEMParametersShared(&hba, &target);
    }
    std::string query(uint16_t lunNumber)
    {
        target.TargetProperty.TargetInfo.LUN = lunNumber;
        lun = SDMLun{};
        lun.LunID = lunNumber;
        StdoutCapture capture;
        EXPECT_EQ(0, RetrieveWWULunNumberForLunShared(&hba, &target, &lun));
        return capture.finish();
    }
    SDMHba hba{};
    SDMTarget target{};
    SDMLun lun{};
};

TEST_F(Wwuln, Page83AnswerGivesTheIdentifierAtTheOffset)
{
    address(0);
    EXPECT_EQ("Info: WWULN on HBA[10]-TID=0, B:0 T:0 L:1, Offset=8, WWULN=50-a-cd-e1-0-a1-0-1  "
              "Sense Key:0x0, asc:0x0, ascq:0x0.\r\nLUN Data\n",
              query(1));
    const uint8_t expected[8] = {0x50, 0x0a, 0xcd, 0xe1, 0x00, 0xa1, 0x00, 0x01};
    EXPECT_EQ(0, std::memcmp(expected, lun.WWULN, 8));

    auto calls = simCalls("SDSendScsiPassThruiSCSI");
    ASSERT_EQ(1u, calls.size());
    EXPECT_EQ("120183004000", calls[0]["records"]["cdb"]);
    EXPECT_EQ(6, calls[0]["args"]["cdbLength"]);
    EXPECT_EQ(64, calls[0]["args"]["dataInLength"]);
    EXPECT_EQ(320, calls[0]["args"]["senseLength"]);
    EXPECT_EQ(0, calls[0]["args"]["dataOutLength"]);
}

TEST_F(Wwuln, IllegalRequestClearsTheAbilityOfTheWholeTarget)
{
    address(1);
    EXPECT_EQ("Debug: Lun (0) does not support WWULN via inquiry\r\n", query(0));
    EXPECT_EQ(0u, target.TargetAbilityFlags & kTargetAbilityWwulnInquiry);
    // The next LUN of the target is not asked again.
    izksim_clear_call_log();
    EXPECT_EQ("", query(1));
    EXPECT_TRUE(simCalls("SDSendScsiPassThruiSCSI").empty());
}

TEST_F(Wwuln, OtherFailuresAreLoggedAndKeepTheAbility)
{
    address(99);
    EXPECT_EQ("Debug: Unable to issue WWULN inquiry command (0x20000004) (Target not found)\r\n", query(0));
    EXPECT_NE(0u, target.TargetAbilityFlags & kTargetAbilityWwulnInquiry);

    // Success with another page code lands on the same line.
    address(0);
    izksim_set_fault("SDSendScsiPassThruiSCSI", 0, 1);
    EXPECT_EQ("Debug: Unable to issue WWULN inquiry command (0x0) (Success)\r\n", query(0));

    // Sense data other than illegal request / 0x24 / 0.
    izksim_set_fault("SDSendScsiPassThruiSCSI", 0x20000040u, 1);
    EXPECT_EQ("Debug: Unable to issue WWULN inquiry command (0x20000040) "
              "(SCSI command completed with check condition (sense data returned))\r\n"
              "Debug:     Device id page sense key:  0x0, asc:  0x0, ascq:  0x0\r\n",
              query(0));
    EXPECT_NE(0u, target.TargetAbilityFlags & kTargetAbilityWwulnInquiry);
}

TEST_F(Wwuln, TargetsWithoutTheAbilityAreNotQueried)
{
    std::memcpy(target.TargetVendorID, "DELL", 4);
    std::memcpy(target.TargetProductID, "PV660", 5);
    address(0);
    EXPECT_EQ("", query(0));
    EXPECT_TRUE(simCalls("SDSendScsiPassThruiSCSI").empty());
    const uint8_t zero[8] = {};
    EXPECT_EQ(0, std::memcmp(zero, lun.WWULN, 8));
}

TEST_F(Wwuln, AnOffsetPastTheResponseNeverReadsOutsideIt)
{
    address(0);
    target.TargetWWULNOffset = 60;
    query(0);
    // Bytes 60..63 of the 64-byte answer, the rest zero.
    EXPECT_EQ(0, lun.WWULN[4] | lun.WWULN[5] | lun.WWULN[6] | lun.WWULN[7]);
    target.TargetWWULNOffset = 0xFFFFFFF0u;
    query(0);
    const uint8_t zero[8] = {};
    EXPECT_EQ(0, std::memcmp(zero, lun.WWULN, 8));
}

}  // namespace
