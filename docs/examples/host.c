/* A complete small host in C, without the SDK's headers: function lists and objects are arrays of
 * function pointers, called by slot number. The module finds velmora by itself.
 *
 *   host_c MODULE     the module's file
 */
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>

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

typedef int32_t (*Lookup)(const char* host, const char* list, const void** out);
typedef int32_t (*ModuleInit)(const void* root, Lookup* lookup);
typedef int32_t (*ModuleFinal)(void);

typedef struct {
  uint32_t data1;
  uint16_t data2, data3;
  uint8_t data4[8];
} Guid;

static const Guid kIUrlParser = {
    0x9D4C1A6E, 0x52F7, 0x4B38, {0x8E, 0x0D, 0x73, 0xA1, 0xC6, 0xB9, 0x5F, 0x24}};

/* A list is such an array; an object begins with the address of one. */
typedef void (*Slot)(void);
static const Slot* tableOf(const void* object) { return *(const Slot* const*)object; }

/* List "timeapi", slot 2: convert a value between formats. */
typedef uint64_t (*ConvertTime)(uint64_t value, uint32_t from, uint32_t to);
/* List "ClassFactory.1", slot 1. */
typedef int32_t (*CreateInstance)(const char* className, const Guid* id, void** object);
/* Class "vexa.webclient.url.parser": slots 2, 3 and 4. */
typedef uint32_t (*Release)(void* self);
typedef int32_t (*Parse)(void* self, const char* url);
typedef int32_t (*GetPort)(void* self);

static const Slot* findList(Lookup lookup, const char* name) {
  const void* list = NULL;
  return lookup(NULL, name, &list) >= 0 ? (const Slot*)list : NULL;
}

static bool showPort(const Slot* classes) {
  void* url = NULL;
  if (((CreateInstance)classes[1])("vexa.webclient.url.parser", &kIUrlParser, &url) < 0) {
    return false;
  }
  const int32_t result = ((Parse)tableOf(url)[3])(url, "https://example.com/x");
  printf("port: %d\n", (int)((GetPort)tableOf(url)[4])(url));
  ((Release)tableOf(url)[2])(url);
  return result >= 0;
}

/* Between module_init and module_final. */
static bool useModule(Lookup lookup) {
  const Slot* const times = findList(lookup, "timeapi");
  const Slot* const classes = findList(lookup, "ClassFactory.1");
  if (times == NULL || classes == NULL) {
    return false;
  }
  const uint32_t unixSeconds = 0x21, fileTime = 0x18;
  const uint64_t ticks = ((ConvertTime)times[2])(1, unixSeconds, fileTime);
  printf("file time: %llu\n", (unsigned long long)ticks);
  return showPort(classes);
}

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: host_c MODULE\n");
    return 2;
  }
  bool good = false;
  const Library module = load(argv[1]);
  if (module != NULL) {
    const ModuleInit init = (ModuleInit)find(module, "module_init");
    const ModuleFinal final = (ModuleFinal)find(module, "module_final");
    if (init != NULL && final != NULL) {
      Lookup lookup = NULL;
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
