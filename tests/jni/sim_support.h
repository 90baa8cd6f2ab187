// Helpers for native tests that run against the adapter simulator.
#ifndef DVH_TESTS_SIM_SUPPORT_H
#define DVH_TESTS_SIM_SUPPORT_H

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "izksim/izksim.h"

inline nlohmann::json simCalls()
{
    size_t length = izksim_call_log_json(nullptr, 0);
    std::string text(length + 1, '\0');
    izksim_call_log_json(&text[0], text.size());
    text.resize(length);
    return nlohmann::json::parse(text);
}

inline std::vector<nlohmann::json> simCalls(const std::string& fn)
{
    std::vector<nlohmann::json> out;
    for (const auto& call : simCalls())
        if (call["fn"] == fn)
            out.push_back(call);
    return out;
}

// Resets the simulator to its default scenario with an empty call log.
class SimTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(0, izksim_reset()) << izksim_last_error();
    }
    void TearDown() override { izksim_reset(); }
    static void load(const std::string& json)
    {
        ASSERT_EQ(0, izksim_load_scenario_json(json.c_str())) << izksim_last_error();
    }
};

#endif
