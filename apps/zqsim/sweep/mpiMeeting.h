#pragma once

/// A library of its own, which only a process loads that was started by MPI: it has its ranks find each other, and no
/// more. What follows goes on without MPI, which ends all ranks when one dies.
extern "C"
{
   constexpr int mpiTextSize = 4096;

   struct MpiMeeting
   {
      /// On rank 0: makes a text of at most so many bytes, ended by zero, for all others.
      void (*invite)(void* context, int isOneMachine, char* text);
      /// On the others.
      void (*accept)(void* context, int rank, const char* text);
      void* context;
   };

   /// Returns when all have done their part, and MPI has ended. False if it cannot be begun.
   using MeetByMpi = int(const MpiMeeting* meeting);
   int zqsimMeetByMpi(const MpiMeeting* meeting);
}
