// Captures what the code under test writes to standard output (fd 1 and C
// stdio), byte for byte.
#ifndef DVH_TESTS_STDOUT_CAPTURE_H
#define DVH_TESTS_STDOUT_CAPTURE_H

#include <unistd.h>

#include <cstdio>
#include <string>

class StdoutCapture {
public:
    StdoutCapture()
    {
        std::fflush(stdout);
        file_ = std::tmpfile();
        saved_ = dup(1);
        dup2(fileno(file_), 1);
    }
    ~StdoutCapture() { finish(); }
    // Stops capturing and returns everything written since the start.
    std::string finish()
    {
        if (saved_ < 0)
            return text_;
        std::fflush(stdout);
        dup2(saved_, 1);
        close(saved_);
        saved_ = -1;
        std::rewind(file_);
        char buffer[4096];
        size_t n;
        while ((n = std::fread(buffer, 1, sizeof buffer, file_)) > 0)
            text_.append(buffer, n);
        std::fclose(file_);
        return text_;
    }

private:
    FILE* file_ = nullptr;
    int saved_ = -1;
    std::string text_;
};

#endif
