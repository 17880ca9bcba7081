// SPDX-FileCopyrightText: The qxutils authors
// SPDX-License-Identifier: Apache-2.0

// What stands around calls of MPI.
#ifndef QXTREE_MPICALLS_H
#define QXTREE_MPICALLS_H

#include <mpi.h>
#include <signal.h>

#include <chrono>
#include <thread>

#include "qxtree/process.h"

namespace qxtree {

// A signal is to wake the thread that calls this, none of those that MPI makes.
inline void InitMpi() {
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, &before);
  MPI_Init(nullptr, nullptr);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

inline bool IsDone(MPI_Request& request) {
  int isDone = 0;
  MPI_Test(&request, &isDone, MPI_STATUS_IGNORE);
  return isDone != 0;
}

// Whether a message can be received.
inline bool IsThere(MPI_Comm processes, int rank, int tag) {
  int isThere = 0;
  MPI_Iprobe(rank, tag, processes, &isThere, MPI_STATUS_IGNORE);
  return isThere != 0;
}

// Before the next look, the `turn`th one. At first it only lets others run.
inline void Pause(int turn) {
  constexpr int kSpins = 2000;
  if (turn < kSpins)
    std::this_thread::yield();
  else
    std::this_thread::sleep_for(std::chrono::microseconds(100));
}

// Throws what Poll throws.
template <class Condition>
void WaitUntil(Condition condition) {
  for (int turn = 0; !condition(); ++turn) {
    Poll();
    ShowWaiting();
    Pause(turn);
  }
}

// Whether it comes true in time. Throws nothing.
template <class Condition>
bool WaitFor(std::chrono::milliseconds time, Condition condition) {
  const auto end = std::chrono::steady_clock::now() + time;
  for (int turn = 0; !condition(); ++turn) {
    if (std::chrono::steady_clock::now() > end) return false;
    Pause(turn);
  }
  return true;
}

}  // namespace qxtree

#endif
