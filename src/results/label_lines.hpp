#pragma once

#include <armadillo>
#include <cstdio>
#include <string>

namespace tovik {

/// The lines of a label file: quoted model, kind and label, then the number of the row in the draws, from 1.
/// The first line is the same in all files.
class label_lines {
 public:
  explicit label_lines(std::FILE* stream) : stream_(stream) {
    std::fputs("\"latent\" \"latent\" \"latent\" 0\n", stream_);
  }

  void write(const std::string& model, const std::string& kind, const std::string& label,
             arma::uword number) {
    std::fprintf(stream_, "\"%s\" \"%s\" \"%s\" %i\n", model.c_str(), kind.c_str(), label.c_str(),
                 static_cast<int>(number));
  }

 private:
  std::FILE* stream_;
};

}  // namespace tovik
