// A library that is no effect: it has no factory function.
#include "pluginterfaces/base/fplatform.h"

extern "C" SMTG_EXPORT_SYMBOL int SomethingElse() {
  return 1;
}
