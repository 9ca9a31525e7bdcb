// Entry points of the board tools: each takes the process's argc and argv.
#pragma once

namespace tav {

int himc(int argc, char** argv);
int himd(int argc, char** argv);
int himd_l(int argc, char** argv);
int himm(int argc, char** argv);
int himdb(int argc, char** argv);
int hivd(int argc, char** argv);
int hiddrs(int argc, char** argv);
int hil2s(int argc, char** argv);

}  // namespace tav
