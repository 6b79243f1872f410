// A run of the campaign as the line that a find prints.
#include <gtest/gtest.h>

#include "tools/campaign/plan.h"

namespace {

TEST(CampaignPlan, IsTheSameLineWhenReadBack) {
  const std::string line =
      "seed=7 explore off phone remote raw | fault disk.write fail=EIO nth=12 | 14000ms get /get_list | 15000ms cut";
  const campaign::Plan plan = campaign::PlanOf(line);
  EXPECT_TRUE(plan.seed == 7 && plan.explore && plan.off && plan.phone && plan.remote && plan.raw);
  EXPECT_EQ(campaign::TextOf(plan), line);
  EXPECT_EQ(campaign::TextOf(campaign::PlanOf("  raw seed=8|14s cut")), "seed=8 raw | 14000ms cut");
  for (const char* wrong : {"seed=7x", "wifi", "seed=1 | cut", "seed=1 | 14s"}) {
    EXPECT_THROW(campaign::PlanOf(wrong), std::invalid_argument) << wrong;
  }
}

}  // namespace
