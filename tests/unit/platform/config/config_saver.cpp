#include <signal.h>

#include <cstdlib>
#include <string>

#include "mura_common/config.h"

/// Sets "a.number" and "a.text" of the configuration file that it is given and saves it. It stops itself
/// before saving, so that whoever traces it can follow every step from there, and ends without any clearing
/// up.
int main(int argc, char** argv) {
  mura_common::toml_config config;
  if (argc != 2 || !config.load(argv[1])) {
    return 2;
  }
  auto number = config.getParam<unsigned int>("a.number");
  auto text = config.getParam<std::string>("a.text");
  if (!number || !text) {
    return 3;
  }
  number->set(200);
  text->set("new");
  raise(SIGSTOP);
  std::_Exit(config.save() ? 0 : 1);
}
