// SPDX-License-Identifier: Apache-2.0
#include "module/web_service_client.h"

#include <qvb/export.h>
#include <qvjni/module.h>

#include <cstring>
#include <new>

namespace {

class Module final : public QvjniModule {
 public:
  QvjniInstance* create(const char* className, const char* interfaceName, QvjniHost* host) override {
    if (std::strcmp(className, "com.quillvex.proxy.ws.WebServiceClientJPC") != 0) {
      host->log(3, "The web service engine has no such class; it has com.quillvex.proxy.ws.WebServiceClientJPC.");
      return nullptr;
    }
    if (std::strcmp(interfaceName, "WebServiceClient") != 0) {
      host->log(3, "The web service engine's class has no such interface; it has WebServiceClient.");
      return nullptr;
    }
    try {
      return new qvx::WebServiceClient(*host);
    } catch (const std::bad_alloc&) {
      host->log(3, "Out of memory while the web service engine was started.");
      return nullptr;
    }
  }
};

}  // namespace

extern "C" __attribute__((visibility("default"))) QvjniModule* qvjniModule(std::int32_t version) {
  static Module module;
  return version == kQvjniModuleVersion ? &module : nullptr;
}
