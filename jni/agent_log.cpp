// Diagnostic log and allocation wrappers of the shared agent services.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "jni_agent_shared.h"

const char* const g_strMessageTypeInfo = "Info";
const char* const g_strMessageTypeWarning = "Warning";
const char* const g_strMessageTypeError = "Error";
const char* const g_strMessageTypeDebug = "Debug";
const char* const g_strMessageTypeUnknown = "Unknown";

namespace {
constexpr size_t kMessageBufferSize = 512;
constexpr size_t kLineBufferSize = 255;
}  // namespace

const char* TranslateMessageTypeToStringShared(int32_t messageType)
{
    switch (messageType) {
    case kLogInfo:
        return g_strMessageTypeInfo;
    case kLogWarning:
        return g_strMessageTypeWarning;
    case kLogError:
        return g_strMessageTypeError;
    case kLogDebug:
        return g_strMessageTypeDebug;
    default:
        return g_strMessageTypeUnknown;
    }
}

int32_t OSSLogMessageShared(int32_t messageType, const char* message)
{
    char line[kLineBufferSize];
    // Lines longer than the buffer are cut rather than overrun it.
    std::snprintf(line, sizeof line, "%s: %s\r\n", TranslateMessageTypeToStringShared(messageType),
                  message ? message : "");
    // The composed line is written as it is: a per-cent sign in a message is
    // printed, never taken for a conversion.
    std::fputs(line, stdout);
    return 0;
}

int32_t CoreLogMessageShared(int32_t messageType, const char* format, ...)
{
    // Formatted once, straight into the line: "<Word>: <message>\r\n", cut
    // to the line buffer like the two-step form (message, then line) was.
    char line[kLineBufferSize];
    const char* word = TranslateMessageTypeToStringShared(messageType);
    size_t length = std::strlen(word);  // a few letters: always fits
    std::memcpy(line, word, length);
    line[length++] = ':';
    line[length++] = ' ';
    line[length] = '\0';
    if (format && length < sizeof line - 1) {
        va_list args;
        va_start(args, format);
        std::vsnprintf(line + length, sizeof line - length, format, args);
        va_end(args);
        // A zero byte produced by the format ends the message there.
        length += std::strlen(line + length);
    }
    static_assert(kLineBufferSize <= kMessageBufferSize, "a message is never cut before its line");
    for (const char* end = "\r\n"; *end && length < sizeof line - 1; ++end)
        line[length++] = *end;
    line[length] = '\0';
    std::fwrite(line, 1, length, stdout);  // its length is known: no second scan
    return 0;
}

const char* SdmErrorText(SD_STATUS status)
{
    const char* text = SDGetErrorStringiSCSI(status);
    return text ? text : "";
}

namespace {
void* allocate(size_t size, bool zero)
{
    if (size == 0) {
        CoreLogMessageShared(kLogWarning, "CoreMalloc: Attempted to allocate ZERO bytes - returning NULL...");
        return nullptr;
    }
    void* block = std::malloc(size);
    if (block && zero)
        std::memset(block, 0, size);
    return block;
}

void release(void* block)
{
    if (!block) {
        CoreLogMessageShared(kLogWarning, "CoreFree: Attempted to free NULL pointer...");
        return;
    }
    std::free(block);
}
}  // namespace

void* CoreMalloc(size_t size) { return allocate(size, false); }
void* CoreZMalloc(size_t size) { return allocate(size, true); }
void CoreFree(void* block) { release(block); }
void* CoreMallocShared(size_t size) { return allocate(size, false); }
void* CoreZMallocShared(size_t size) { return allocate(size, true); }
void CoreFreeShared(void* block) { release(block); }
