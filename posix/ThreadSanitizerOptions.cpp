// Settings for the thread sanitizer, linked only into builds with it. An ended blocking thread (BlockingThread.h) is
// joined by a later thread or start. At the end of the process, nothing joins the last ones. That is not a leak.

extern "C" const char* __tsan_default_options();
const char* __tsan_default_options() { return "report_thread_leaks=0"; }
