// platform/fake/fake_platform.cpp: the double's record, installed for its
// lifetime over the backend that was current.
#include "platform/fake/fake_platform.h"

namespace plat {

FakePlatform::FakePlatform()
    : real_(Current()),
      system_(real_.system),
      files_(real_.files, real_.system),
      libraries_(real_.libraries, real_.system),
      registry_(real_.registry, real_.system),
      processes_(real_.processes, real_.system, libraries_),
      platform_{real_.modules, system_, files_, libraries_, registry_,
                processes_},
      scope_(platform_) {}

}  // namespace plat
