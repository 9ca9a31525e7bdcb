# Fails when an object outside the seam references an OS call the seam stands
# for, so a stray ::ioctl or pthread_create cannot slip past sys::.
#
#   cmake -DNM=<nm> -DLIBRARY=<archive or object> [-DSEAM_SOURCES=<a.cc;b.cc>]
#         -P seam_layering.cmake
#
# LIBRARY is whichever archive holds the non-seam code; SEAM_SOURCES names the
# seam's own sources when they are archived in it too (their objects are
# skipped).
#
# Not listed, on purpose:
# - sem_*, mutexes, atomics: they order this process's own threads (sys.h says
#   why the simulated board needs no view of them);
# - cfset*speed, sigemptyset, CPU_* helpers: they only fill a record in memory;
# - stdio on stdout/stderr and the heap: the console output is the behaviour.

cmake_minimum_required(VERSION 3.25)

foreach(var NM LIBRARY)
  if(NOT ${var})
    message(FATAL_ERROR "seam_layering: ${var} is not set")
  endif()
endforeach()

# Calls the seam stands for: devices, memory maps, sockets, terminals, time,
# sleeps, timers, signals, threads and scheduling, mounts, process exit, and
# any path on the file system (a device node is a path too).
set(calls
  open openat creat close read write pread pwrite preadv pwritev readv writev lseek llseek ioctl fcntl
  fsync fdatasync mmap munmap mprotect msync socket
  tcgetattr tcsetattr tcflush tcdrain cfmakeraw select pselect poll ppoll
  symlink readlink unlink access stat lstat fstat fstatat statx xstat lxstat fxstat statvfs fstatvfs
  opendir readdir closedir fopen freopen fdopen
  nanosleep clock_nanosleep usleep sleep clock_gettime gettimeofday time
  timer_create timer_settime timer_gettime timer_delete setitimer alarm
  sigaction signal sysv_signal raise pause kill
  mount umount umount2
  sched_setaffinity sched_getaffinity sched_setscheduler
  pthread_create pthread_join pthread_detach pthread_attr_[a-z]+ pthread_setaffinity_np
  syscall gettid exit _exit quick_exit)
string(REPLACE ";" "|" calls_alt "${calls}")
# Fortified, 64-bit and time64 spellings: __open_2, open64, __read_chk,
# __xstat64, __clock_gettime64; "@GLIBC_x" versions once linked.
set(plain_re "^_*(${calls_alt})(64)?(_time64)?(_2|_chk)?(@.*)?$")
# The C++ library's own ways to a thread or the clock.
set(cxx_re "^_ZNSt6thread15_M_start_thread|^_ZNSt6chrono3_V212(system|steady)_clock3now|^_ZNSt11this_thread")

# Documented exceptions, "object:symbol" each with its reason beside it.
set(allowed
)

set(seam_objects "")
foreach(src IN LISTS SEAM_SOURCES)
  get_filename_component(name "${src}" NAME)
  list(APPEND seam_objects "${name}.o")
endforeach()

execute_process(COMMAND "${NM}" -A -u "${LIBRARY}"
  OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "seam_layering: ${NM} failed on ${LIBRARY}: ${err}")
endif()
string(REPLACE "\n" ";" lines "${out}")

set(seen 0)
set(found "")
foreach(line IN LISTS lines)
  if(NOT line MATCHES "^(.*):[ \t]+U[ \t]+([^ \t]+)$")
    continue()
  endif()
  set(where "${CMAKE_MATCH_1}")
  set(sym "${CMAKE_MATCH_2}")
  math(EXPR seen "${seen} + 1")
  # In an archive the member follows the archive's name.
  string(REGEX REPLACE "^.*:" "" object "${where}")
  get_filename_component(object "${object}" NAME)
  if(object IN_LIST seam_objects OR "${object}:${sym}" IN_LIST allowed)
    continue()
  endif()
  if(sym MATCHES "${plain_re}" OR sym MATCHES "${cxx_re}")
    list(APPEND found "  ${object}: ${sym}")
  endif()
endforeach()

if(seen EQUAL 0)
  message(FATAL_ERROR "seam_layering: no undefined symbols read from ${LIBRARY}; is ${NM} the right nm?")
endif()
if(found)
  list(REMOVE_DUPLICATES found)
  string(REPLACE ";" "\n" report "${found}")
  message(FATAL_ERROR "OS calls outside the seam (go through sys:: instead):\n${report}")
endif()
message(STATUS "seam_layering: ${seen} references checked, none bypasses the seam")
