// The fixture of every simulated-router test: skipped, with the reason, where
// the router cannot run (no user namespaces on this machine).
#pragma once

#include "sim_harness.h"

class SimTest : public ::testing::Test {
   protected:
    void SetUp() override { REQUIRE_SIM(); }
};
