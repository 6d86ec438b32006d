#include <dlfcn.h>
#include <stdio.h>

#include "vexabase.h"

int main(int argc, char** argv) {
  char file[4096];
  snprintf(file, sizeof(file), "%s/libvexabase.so", argv[argc - 1]);
  void* const library = dlopen(file, RTLD_NOW);
  if (library == NULL) {
    fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  const vexa_ModuleInitFunction init = (vexa_ModuleInitFunction)dlsym(library, "module_init");
  const vexa_ModuleFinalFunction end = (vexa_ModuleFinalFunction)dlsym(library, "module_final");
  vexa_GetModuleInterfaceFunction lookup = NULL;
  const void* list = NULL;
  if (init(NULL, &lookup) < 0 || lookup(NULL, VEXA_JSON_API_LIST_NAME, &list) < 0) {
    return 1;
  }
  const vexa_JsonApiList* const json = list;
  char text[] = "{\"port\": 8443}";
  const vexa_ByteBuffer bytes = {sizeof(text) - 1, (uint8_t*)text};
  vexa_IJsonObject* object = NULL;
  int32_t port = 0;
  if (json->Parse(&bytes, &object) < 0 || object->table->GetInteger(object, "port", &port) < 0) {
    return 1;
  }
  printf("%d\n", (int)port);
  object->table->Release(object);
  end();
  dlclose(library);
  return 0;
}
