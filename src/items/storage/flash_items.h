// The MTD and memory-zone items. Each takes (argc, argv); started from the
// menu they get argc 0 and a null argv, which means "no arguments".
#pragma once

namespace tav {

int mtd_test(int argc, char** argv);
int nand_id_check(int argc, char** argv);
int mmz_test(int argc, char** argv);

}  // namespace tav
