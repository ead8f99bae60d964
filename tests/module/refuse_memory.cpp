// refuse_memory.cpp: preloaded into an interpreter, counts the memory that one shared object takes and gives back, and
// refuses the request of a given number.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <link.h>

extern "C" {
void *__libc_malloc(std::size_t size);
void __libc_free(void *block);
}

namespace {

std::uintptr_t first_address, last_address; // of the object watched; nothing is watched while both are 0
int requests, refused, held;

bool is_watched(const void *caller) {
    const auto address = reinterpret_cast<std::uintptr_t>(caller);
    return first_address <= address && address < last_address;
}

bool refuses() { return ++requests == refused; }

int remember_object(dl_phdr_info *info, std::size_t /*size*/, void *name) {
    if (std::strstr(info->dlpi_name, static_cast<const char *>(name)) == nullptr) {
        return 0;
    }
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        if (info->dlpi_phdr[i].p_type == PT_LOAD && (info->dlpi_phdr[i].p_flags & PF_X) != 0) {
            first_address = info->dlpi_addr + info->dlpi_phdr[i].p_vaddr;
            last_address = first_address + info->dlpi_phdr[i].p_memsz;
        }
    }
    return 1;
}

void *take(std::size_t size, const void *caller) {
    if (!is_watched(caller)) {
        return __libc_malloc(size);
    }
    if (refuses()) {
        return nullptr;
    }
    ++held;
    return __libc_malloc(size);
}

} // namespace

extern "C" {

[[gnu::visibility("default")]] void *malloc(std::size_t size) { return take(size, __builtin_return_address(0)); }

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library's is a reserved name
[[gnu::visibility("default")]] char *strdup(const char *text) {
    const std::size_t size = std::strlen(text) + 1;
    auto *copy = static_cast<char *>(take(size, __builtin_return_address(0)));
    return copy == nullptr ? nullptr : static_cast<char *>(std::memcpy(copy, text, size));
}

[[gnu::visibility("default")]] void free(void *block) {
    held -= is_watched(__builtin_return_address(0)) && block != nullptr ? 1 : 0;
    __libc_free(block);
}

/// Watches the object with this in its name from now on; 0 when there is none.
[[gnu::visibility("default")]] int watch(char *name) { return dl_iterate_phdr(remember_object, name); }

/// Refuses the request of this number, counted from now on.
[[gnu::visibility("default")]] void refuse(int number) {
    requests = 0;
    refused = number;
}
[[gnu::visibility("default")]] int requests_made() { return requests; }
[[gnu::visibility("default")]] int blocks_held() { return held; }
}
