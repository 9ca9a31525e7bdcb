#include "env.h"

#include <errno.h>

#include <cstring>

#include "locked.h"

namespace sim {

using tav::EnvKey;
using tav::EnvPassword;
using tav::EnvTransMode;
using tav::EnvVariable;

EnvDevice::EnvDevice()
    : vars_{{"baudrate", "115200"},
            {"bootargs", "console=ttyS0,115200n8 mem=512M root=/dev/mtdblock2 rootfstype=squashfs"},
            {"bootcmd", "bootm 0x82000000"},
            {"bootdelay", "1"},
            {"ethaddr", "00:12:34:56:78:9a"},
            {"ipaddr", "192.168.1.64"},
            {"netmask", "255.255.255.0"},
            {"serverip", "192.168.1.2"}} {}

int EnvDevice::find(const std::string& name) const {
  for (size_t i = 0; i < vars_.size(); ++i)
    if (vars_[i].first == name) return static_cast<int>(i);
  return -1;
}

namespace {
std::string text(const char* field, size_t size) { return std::string(field, strnlen(field, size)); }
void put(char* field, size_t size, const std::string& s) {
  memset(field, 0, size);
  memcpy(field, s.data(), std::min(s.size(), size - 1));
}
}  // namespace

int EnvDevice::ioctl(OpenFile&, unsigned long request, void* arg) {
  if (arg == nullptr) return -EFAULT;
  std::lock_guard<std::mutex> lock(mu_);
  switch (request) {
    case tav::UBOOT_ENV_TOTAL: {
      if (add_after_ > 0 && ++counts_ == add_after_) vars_.emplace_back("newvar", "1");
      uint32_t n = static_cast<uint32_t>(vars_.size());
      memcpy(arg, &n, sizeof n);
      return 0;
    }
    case tav::UBOOT_ENV_GET_KEY: {
      auto* key = static_cast<EnvKey*>(arg);
      if (key->index >= vars_.size()) return -EINVAL;
      put(key->name, sizeof key->name, vars_[key->index].first);
      return 0;
    }
    case tav::UBOOT_ENV_GET: {
      auto* v = static_cast<EnvVariable*>(arg);
      int i = find(text(v->name, sizeof v->name));
      if (i < 0) return -ENOENT;
      std::string value = vars_[i].second;
      bool passthrough = !modes_.empty() && modes_.back().on != 0;
      if (vars_[i].first == "bootargs" && passthrough && !passthrough_bootargs_.empty()) value = passthrough_bootargs_;
      put(v->value, sizeof v->value, value);
      return 0;
    }
    case tav::UBOOT_ENV_SET: {
      const auto* v = static_cast<const EnvVariable*>(arg);
      std::string name = text(v->name, sizeof v->name);
      std::string value = text(v->value, sizeof v->value);
      if (name.empty()) return -EINVAL;
      if (value.empty() && refuse_empty_) return -EPERM;
      put_var(name, value);
      return 0;
    }
    case tav::UBOOT_ENV_TRANS_MODE:
      modes_.push_back(*static_cast<const EnvTransMode*>(arg));
      return 0;
    case tav::UBOOT_ENV_PASSWD: {
      const auto* p = static_cast<const EnvPassword*>(arg);
      std::string t = text(p->text, sizeof p->text);
      if (p->length != t.size() || t.size() >= sizeof p->text) return -EINVAL;
      password_ = t;
      return 0;
    }
    default:
      return -ENOTTY;
  }
}

std::string EnvDevice::get(const std::string& name) const {
  std::lock_guard<std::mutex> lock(mu_);
  int i = find(name);
  return i < 0 ? std::string() : vars_[i].second;
}

void EnvDevice::put_var(const std::string& name, const std::string& value) {
  int i = find(name);
  if (i < 0)
    vars_.emplace_back(name, value);
  else
    vars_[i].second = value;
}

void EnvDevice::set(const std::string& name, const std::string& value) {
  std::lock_guard<std::mutex> lock(mu_);
  put_var(name, value);
}

void EnvDevice::clear() {
  std::lock_guard<std::mutex> lock(mu_);
  vars_.clear();
}

std::string EnvDevice::password() const { return locked_read(mu_, password_); }

void EnvDevice::set_password(const std::string& password) { locked_write(mu_, password_, password); }

std::vector<std::pair<std::string, std::string>> EnvDevice::variables() const { return locked_read(mu_, vars_); }

void EnvDevice::set_refuse_empty(bool refuse) { locked_write(mu_, refuse_empty_, refuse); }

void EnvDevice::add_variable_after_counts(int n) {
  std::lock_guard<std::mutex> lock(mu_);
  add_after_ = n;
  counts_ = 0;
}

void EnvDevice::set_passthrough_bootargs(const std::string& value) { locked_write(mu_, passthrough_bootargs_, value); }

void add_env(Board& board) { board.add(tav::kEnvPath, std::make_shared<EnvDevice>()); }

EnvDevice* env(Board& board) { return dynamic_cast<EnvDevice*>(board.device(tav::kEnvPath).get()); }

}  // namespace sim
