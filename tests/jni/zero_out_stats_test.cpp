// The counters of a buffer test result that the test clears, and those it keeps.
#include <gtest/gtest.h>

#include <cstring>

#include "statistics.h"

TEST(ZeroOutStats, ClearsTheSevenCountersAndKeepsStatusMegabytesPatternAndReserved)
{
    RWBUFFERTESTRESULT r;
    std::memset(&r, 0xA5, sizeof r);
    r.ReadWriteBufferTestStatus = 100;
    r.MBytesCount = 2754;
    r.iReserved = 0x1234;
    zeroOutStats(&r);
    EXPECT_EQ(0u, r.DataMiscompare);
    EXPECT_EQ(0u, r.DevicePortErrorCount);
    EXPECT_EQ(0u, r.HBAPortErrorCount);
    EXPECT_EQ(0u, r.InterruptCount);
    EXPECT_EQ(0u, r.InvalidCrcCount);
    EXPECT_EQ(0u, r.IoCount);
    EXPECT_EQ(0u, r.LinkFailureCount);
    EXPECT_EQ(100, r.ReadWriteBufferTestStatus);
    EXPECT_EQ(2754u, r.MBytesCount);
    EXPECT_EQ(0x1234, r.iReserved);
    for (uint8_t b : r.lastPattern)
        ASSERT_EQ(0xA5, b);
    zeroOutStats(nullptr);  // nothing to clear, no fault
}
