// tav_factory: enters the factory test runner and nothing else.
#include "factory/factory.h"

#ifdef TAV_SIM
#include "sim/run.h"
int main(int argc, char** argv) { return sim::run_process(argc, argv, tav::factory_main); }
#else
int main(int argc, char** argv) { return tav::factory_main(argc, argv); }
#endif
