// Want of memory on demand: the program that links failing_new.cpp has its operator new replaced.
#ifndef QXUTILS_TESTS_FAILING_NEW_H
#define QXUTILS_TESTS_FAILING_NEW_H

#include <gtest/gtest.h>

#include <new>

// Lets this thread's k-th allocation from here on (1: the next one; 0: none) fail, and no other.
// Gives whether the one that was chosen before has failed.
bool FailAllocation(long k);

// Runs `action` with its first allocation failing, with its second, and so on until it gets
// through. Each failure has to come out as std::bad_alloc; then `check` runs. Gives their number.
template <class Action, class Check>
long FailEachAllocation(Action action, Check check) {
  for (long k = 1;; ++k) {
    bool caught = false;
    FailAllocation(k);
    try {
      action();
    } catch (const std::bad_alloc&) {
      caught = true;
    }
    if (!FailAllocation(0)) return k - 1;
    EXPECT_TRUE(caught) << "allocation " << k;
    check();
  }
}

#endif
