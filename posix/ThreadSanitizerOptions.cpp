// Settings for the thread sanitizer, linked only into builds with it. A blocking thread (BlockingThread.h) is joined by
// the next start. At the end of the process nothing joins the last ones, which is no leak.

extern "C" const char* __tsan_default_options();
const char* __tsan_default_options() { return "report_thread_leaks=0"; }
