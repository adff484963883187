#include "KvAppServices.h"

#include <atomic>

namespace {
std::atomic<TKvAppServices*> gServices{nullptr};
}

TKvAppServices* KvAppServices() {
  return gServices.load();
}
void KvAppServices_Install(TKvAppServices* services) {
  gServices.store(services);
}
