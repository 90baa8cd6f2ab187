#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "jni_agent_shared.h"
#include "stdout_capture.h"

namespace {

std::string logged(int32_t type, const char* text)
{
    StdoutCapture capture;
    EXPECT_EQ(0, CoreLogMessageShared(type, "%s", text));
    return capture.finish();
}

TEST(DiagnosticLog, LineFormPerMessageType)
{
    EXPECT_EQ("Info: notable\r\n", logged(1, "notable"));
    EXPECT_EQ("Warning: odd\r\n", logged(2, "odd"));
    EXPECT_EQ("Error: broken\r\n", logged(3, "broken"));
    EXPECT_EQ("Debug: ***trace\r\n", logged(100, "***trace"));
    EXPECT_EQ("Unknown: seven\r\n", logged(7, "seven"));
    EXPECT_EQ("Unknown: zero\r\n", logged(0, "zero"));
}

TEST(DiagnosticLog, FormatsArgumentsAndKeepsPerCentSigns)
{
    StdoutCapture capture;
    CoreLogMessageShared(100, "***AddHbaToHbaList: Starting AEN Polling for HBA instance %d with interval=%d", 101,
                         30000);
    CoreLogMessageShared(1, "%s", "50%d done");
    EXPECT_EQ("Debug: ***AddHbaToHbaList: Starting AEN Polling for HBA instance 101 with interval=30000\r\n"
              "Info: 50%d done\r\n",
              capture.finish());
}

TEST(DiagnosticLog, OverlongMessagesAreCutNotOverrun)
{
    std::string longText(2000, 'x');
    std::string line = logged(3, longText.c_str());
    // 255-byte line buffer: at most 254 characters reach the output.
    ASSERT_EQ(254u, line.size());
    EXPECT_EQ("Error: xxx", line.substr(0, 10));
}

// The line as the two-step form made it: message into 512 bytes, then
// "<Word>: <message>\r\n" into 255.
std::string twoStep(const char* word, const std::string& message)
{
    char m[512];
    std::snprintf(m, sizeof m, "%s", message.c_str());
    char line[255];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-truncation"
    std::snprintf(line, sizeof line, "%s: %s\r\n", word, m);
#pragma GCC diagnostic pop
    return line;
}

TEST(DiagnosticLog, OneStepFormattingCutsLikeTheTwoStepForm)
{
    for (size_t n : {0u, 1u, 240u, 243u, 244u, 245u, 246u, 247u, 248u, 249u, 250u, 251u, 252u, 253u, 254u, 600u}) {
        std::string text(n, 'y');
        EXPECT_EQ(twoStep("Warning", text), logged(2, text.c_str())) << n;
        EXPECT_EQ(twoStep("Debug", text), logged(100, text.c_str())) << n;
    }
    // A zero byte made by the format ends the message; the line end follows.
    StdoutCapture capture;
    CoreLogMessageShared(1, "ab%cde", 0);
    EXPECT_EQ(std::string("Info: ab\r\n"), capture.finish());
}

TEST(AllocationWrappers, ZeroSizeAndNullFreeWarn)
{
    StdoutCapture capture;
    EXPECT_EQ(nullptr, CoreZMallocShared(0));
    EXPECT_EQ(nullptr, CoreMalloc(0));
    EXPECT_EQ(nullptr, CoreMallocShared(0));
    EXPECT_EQ(nullptr, CoreZMalloc(0));
    CoreFreeShared(nullptr);
    CoreFree(nullptr);
    const std::string zero = "Warning: CoreMalloc: Attempted to allocate ZERO bytes - returning NULL...\r\n";
    const std::string null = "Warning: CoreFree: Attempted to free NULL pointer...\r\n";
    EXPECT_EQ(zero + zero + zero + zero + null + null, capture.finish());
}

TEST(AllocationWrappers, ZeroingAllocationIsZeroAndSilent)
{
    StdoutCapture capture;
    auto* block = static_cast<unsigned char*>(CoreZMallocShared(4096));
    ASSERT_NE(nullptr, block);
    for (int i = 0; i < 4096; ++i)
        ASSERT_EQ(0, block[i]);
    CoreFreeShared(block);
    void* plain = CoreMalloc(16);
    ASSERT_NE(nullptr, plain);
    CoreFree(plain);
    EXPECT_EQ("", capture.finish());
}

}  // namespace
