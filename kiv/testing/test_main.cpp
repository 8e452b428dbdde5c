// The main() of every test binary. The tests describe classes whose hooks name no property on
// purpose (the mapping's edge cases), so such names are logged rather than stopping the process.
#include <gtest/gtest.h>

#include "kiv/model/model_class.hpp"

int main(int argc, char** argv) {
  kiv::setKivHookNameCheck(kiv::KivHookNameCheck::kLog);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
