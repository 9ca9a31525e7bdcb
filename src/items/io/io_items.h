// The I/O-board test items. Each takes (argc, argv); started from the menu
// they get argc 0 and a null argv, which means "no arguments".
#pragma once

namespace tav {

int alarm_test(int argc, char** argv);
int buzzer_test(int argc, char** argv);
int bootparam_report(int argc, char** argv);
int cpld_report(int argc, char** argv);

}  // namespace tav
