// The collector writes fixed router paths under /tmp (scratch files, logs,
// /tmp/router-analytics). So that the unit tests never touch the /tmp of the
// machine that runs them, the test process gets a /tmp of its own: a fresh
// tmpfs in private user and mount namespaces, made before the first test.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "../private_tmp.h"

namespace {

class PrivateTmp : public ::testing::Environment {
   public:
    void SetUp() override {
        std::string why;
        if (!enter_private_tmp("mode=1777", &why, DC_SOURCE_DIR))
            fprintf(stderr, "note: no private /tmp (%s); tests share this machine's /tmp\n",
                    why.c_str());
    }
};

const auto* const kPrivateTmp = ::testing::AddGlobalTestEnvironment(new PrivateTmp);

}  // namespace
