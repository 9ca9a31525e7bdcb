#include "factory/factory.h"
#include "items/io/io_items.h"

namespace tav {

// No name may be a prefix of a later one: lookup takes the first prefix.
const TestItem kFactoryItems[] = {
    {"watchdog", 2, nullptr, "看门狗复位测试"},
    {"bootparam", 1, bootparam_report, "bootparam信息"},
    {"cpld", 1, cpld_report, "CPLD信息"},
    {"alarm", 1, alarm_test, "报警输入输出测试"},
    {"buzzer", 1, buzzer_test, "蜂鸣器测试"},
    {nullptr, 0, nullptr, nullptr},
};

}  // namespace tav
