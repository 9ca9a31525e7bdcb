// tav_tool: the multi-call front end and nothing else.
#include "tools/front.h"

#ifdef TAV_SIM
#include "sim/run.h"
int main(int argc, char** argv) { return sim::run_process(argc, argv, tav::tav_tool_main); }
#else
int main(int argc, char** argv) { return tav::tav_tool_main(argc, argv); }
#endif
