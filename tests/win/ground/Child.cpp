// A child that ends with the exit code that is its argument; without one it waits to be ended.
#include <windows.h>

#include <cstdlib>

int main(int count, char** arguments) {
    constexpr DWORD kLifetimeMs = 120000;  // a child that no test ends must end by itself
    if (count < 2)
        Sleep(kLifetimeMs);
    return count < 2 ? 0 : std::atoi(arguments[1]);
}
