#include "apps/zqsim/sweep/mpiMeeting.h"

#include <array>
#include <mpi.h>

extern "C" int zqsimMeetByMpi(const MpiMeeting* meeting)
{
   if (MPI_Init(nullptr, nullptr) != MPI_SUCCESS)
      return 0;
   int rank = 0;
   int ranks = 1;
   int neighbours = 1;
   MPI_Comm machine = MPI_COMM_NULL;
   MPI_Comm_rank(MPI_COMM_WORLD, &rank);
   MPI_Comm_size(MPI_COMM_WORLD, &ranks);
   MPI_Comm_split_type(MPI_COMM_WORLD, MPI_COMM_TYPE_SHARED, 0, MPI_INFO_NULL, &machine);
   MPI_Comm_size(machine, &neighbours);
   MPI_Comm_free(&machine);
   std::array<char, mpiTextSize> text{};
   if (rank == 0)
      meeting->invite(meeting->context, neighbours == ranks ? 1 : 0, text.data());
   MPI_Bcast(text.data(), mpiTextSize, MPI_CHAR, 0, MPI_COMM_WORLD);
   if (rank != 0)
      meeting->accept(meeting->context, rank, text.data());
   MPI_Barrier(MPI_COMM_WORLD);
   MPI_Finalize();
   return 1;
}
