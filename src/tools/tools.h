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

int hier(int argc, char** argv);
int hiew(int argc, char** argv);

int i2c_read(int argc, char** argv);
int i2c_write(int argc, char** argv);
int i2c_recv(int argc, char** argv);
int i2c_send(int argc, char** argv);

int himii_r(int argc, char** argv);
int himii_w(int argc, char** argv);

// SPI register tools: no row in the board-tool table.
int ssp_read(int argc, char** argv);
int ssp_write(int argc, char** argv);

}  // namespace tav
