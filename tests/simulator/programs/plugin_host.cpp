// Loads a library of its own, which the dynamic linker finds by this program's RUNPATH alone.

#include <dlfcn.h>

#include <cstdio>
#include <initializer_list>

int main() {
  for (const char* const name : {"libtessary_test_plugin.so", "$ORIGIN/plugins/libtessary_test_plugin.so"}) {
    void* const library = dlopen(name, RTLD_NOW);
    if (library == nullptr) {
      std::printf("%s\n", dlerror());
      return 1;
    }
    std::printf("%d\n", reinterpret_cast<int (*)()>(dlsym(library, "answer"))());
  }
}
