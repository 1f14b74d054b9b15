// What the thread sanitizer must know of programs with threads of their own (see BlockingThread.h): one that has ended
// is joined by the next start, and at the end of the process by nobody. Linked by builds with that sanitizer alone.

extern "C" const char* __tsan_default_options();
const char* __tsan_default_options() { return "report_thread_leaks=0"; }
