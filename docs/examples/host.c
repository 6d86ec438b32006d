/* A complete small host in C11 with the generated header: function lists and objects are records of
 * function pointers. The module finds velmora by itself.
 *
 *   host_c MODULE     the module's file
 */
#include <stdio.h>

#include "vexabase.h"

#ifdef _WIN32
#include <windows.h>
typedef HMODULE Library;
typedef FARPROC Symbol;
static Library load(const char* file) { return LoadLibraryA(file); }
static Symbol find(Library library, const char* name) { return GetProcAddress(library, name); }
static void unload(Library library) { FreeLibrary(library); }
#else
#include <dlfcn.h>
typedef void* Library;
typedef void* Symbol;
static Library load(const char* file) { return dlopen(file, RTLD_NOW); }
static Symbol find(Library library, const char* name) { return dlsym(library, name); }
static void unload(Library library) { dlclose(library); }
#endif

/* A function list by its name, or null. */
static const void* findList(vexa_GetModuleInterfaceFunction lookup, const char* name) {
  const void* list = NULL;
  return lookup(NULL, name, &list) >= 0 ? list : NULL;
}

static void showTime(const vexa_TimeList* times) {
  const uint64_t ticks = times->ConvertTime(1, VEXA_UNIX_SECONDS_FORMAT, VEXA_FILE_TIME_FORMAT);
  printf("file time: %llu\n", (unsigned long long)ticks);
}

static bool showPort(const vexa_ClassFactoryList* classes) {
  void* object = NULL;
  if (classes->CreateInstance(VEXA_URL_PARSER_CLASS_NAME, &vexa_IID_IURLParser, &object) < 0) {
    return false;
  }
  vexa_IURLParser* const url = object;
  const int32_t result = url->table->parse(url, "https://example.com/x");
  printf("port: %d\n", (int)url->table->getPort(url));
  url->table->Release(url);
  return result >= 0;
}

static bool showJson(const vexa_JsonApiList* json) {
  char text[] = "{\"answer\": 42}";
  const vexa_ByteBuffer bytes = {sizeof(text) - 1, (uint8_t*)text};
  vexa_IJsonObject* object = NULL;
  if (json->Parse(&bytes, &object) < 0) {
    return false;
  }
  int32_t answer = 0;
  const int32_t result = object->table->GetInteger(object, "answer", &answer);
  printf("answer: %d\n", (int)answer);
  object->table->Release(object);
  return result >= 0;
}

/* Between module_init and module_final. */
static bool useModule(vexa_GetModuleInterfaceFunction lookup) {
  const vexa_TimeList* const times = findList(lookup, VEXA_TIME_LIST_NAME);
  const vexa_ClassFactoryList* const classes = findList(lookup, VEXA_CLASS_FACTORY_LIST_NAME);
  const vexa_JsonApiList* const json = findList(lookup, VEXA_JSON_API_LIST_NAME);
  if (times == NULL || classes == NULL || json == NULL) {
    return false;
  }
  showTime(times);
  return showPort(classes) && showJson(json);
}

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: host_c MODULE\n");
    return 2;
  }
  bool good = false;
  const Library module = load(argv[1]);
  if (module != NULL) {
    const vexa_ModuleInitFunction init = (vexa_ModuleInitFunction)find(module, "module_init");
    const vexa_ModuleFinalFunction final = (vexa_ModuleFinalFunction)find(module, "module_final");
    if (init != NULL && final != NULL) {
      vexa_GetModuleInterfaceFunction lookup = NULL;
      good = init(NULL, &lookup) >= 0 && useModule(lookup);
      final();
    }
    unload(module);
  }
  if (!good) {
    fprintf(stderr, "host_c: %s cannot be used\n", argv[1]);
  }
  return good ? 0 : 1;
}
