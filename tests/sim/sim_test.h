// The fixture of every simulated-router test: skipped, with the reason, where
// the router cannot run (no user namespaces on this machine).
#pragma once

#include "sim_harness.h"

class SimTest : public ::testing::Test {
   protected:
    void SetUp() override { REQUIRE_SIM(); }
};

// run_in_router for a run that must exit 0.
inline SimResult run_ok(const std::vector<std::string>& argv, const Scenario& sc = {}) {
    SimResult r = run_in_router(argv, sc);
    EXPECT_EQ(r.status, 0) << r.err;
    return r;
}
