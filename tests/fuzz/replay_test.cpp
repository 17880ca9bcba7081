// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

#include "../support.h"
#include "fuzz.h"

class FuzzCorpus
    : public testing::TestWithParam<std::pair<const std::string, void (*)(FuzzInput)>> {};

TEST_P(FuzzCorpus, AgreesWithTheOracle) {
  const fs::path corpus = fs::path(QXUTILS_FUZZ_CORPUS) / GetParam().first;
  EXPECT_FALSE(fs::is_empty(corpus));
  for (const auto& entry : fs::directory_iterator(corpus)) {
    std::cout << entry.path() << std::endl;  // the last one is the one that fails
    std::ifstream file(entry.path());
    GetParam().second({std::string(std::istreambuf_iterator<char>(file), {})});
    ASSERT_FALSE(HasFailure());
  }
  std::mt19937 random(1);
  for (int run = 0; run < 500; ++run) {
    SCOPED_TRACE(testing::Message() << "random run " << run);
    std::string bytes(random() % 2000, '\0');
    std::generate(bytes.begin(), bytes.end(), std::ref(random));
    GetParam().second({bytes});
    ASSERT_FALSE(HasFailure());
  }
}

INSTANTIATE_TEST_SUITE_P(, FuzzCorpus, testing::ValuesIn(FuzzTarget::all),
                         [](const auto& target) { return target.param.first; });
