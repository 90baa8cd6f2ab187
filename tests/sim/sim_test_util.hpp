// Helpers shared by the simulator's tests.
#ifndef TESTS_SIM_SIM_TEST_UTIL_HPP
#define TESTS_SIM_SIM_TEST_UTIL_HPP

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "izksim/izksim.h"
#include "sdm/sdm_api.h"

namespace simtest {

using json = nlohmann::json;

inline std::string call_log_text() {
  const size_t n = izksim_call_log_json(nullptr, 0);
  std::vector<char> buf(n + 1);
  izksim_call_log_json(buf.data(), buf.size());
  return std::string(buf.data());
}

inline json call_log() { return json::parse(call_log_text()); }

// The calls of one function, oldest first.
inline std::vector<json> calls_of(const std::string& fn) {
  std::vector<json> out;
  for (const json& c : call_log())
    if (c["fn"] == fn) out.push_back(c);
  return out;
}

inline std::string hex(const uint8_t* p, size_t n) {
  static const char d[] = "0123456789abcdef";
  std::string s;
  for (size_t i = 0; i < n; ++i) {
    s.push_back(d[p[i] >> 4]);
    s.push_back(d[p[i] & 15]);
  }
  return s;
}

// Every test starts from the built-in default scenario.
class SimTest : public ::testing::Test {
 protected:
  void SetUp() override {
    unsetenv("IZKSDM_SCENARIO");
    ASSERT_EQ(0, izksim_reset()) << izksim_last_error();
  }
  void TearDown() override { izksim_clear_faults(); }

  SDMGT_HANDLE open(uint32_t instance) {
    SDMGT_HANDLE h = 0;
    EXPECT_EQ(0u, SDOpenDeviceiSCSI(instance, &h));
    return h;
  }
};

}  // namespace simtest

#endif  // TESTS_SIM_SIM_TEST_UTIL_HPP
