// The main function of a driver in builds without libFuzzer: it takes the inputs of its corpus, one after
// another, so that every build compiles the drivers and runs them over what once went wrong.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  int n = 0;
  for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::absolute(argv[1]))) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    std::printf("%s\n", entry.path().filename().c_str());  // the last one is the one that fails
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    ++n;
  }
  std::printf("%d inputs\n", n);
  return n > 0 ? 0 : 1;
}
