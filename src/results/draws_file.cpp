#include "results/draws_file.hpp"

#include "support/csv.hpp"
#include "support/error.hpp"
#include "support/file_writer.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

std::string heading(const std::vector<parameter_name>& names) {
  std::string out = ".chain,.iteration,.draw";
  for (const parameter_name& name : names) out += "," + csv_cell(name.column);
  return out + "\n";
}

/// `before`: the draws of the chains in front of this one.
void write_chain(file_writer& file, const chain_draws& chain, std::size_t number, arma::uword before) {
  constexpr int digits = 10;
  std::string line;
  for (arma::uword t = 0; t < chain.n_cols(); ++t) {
    line = std::to_string(number) + "," + std::to_string(t + 1) + "," + std::to_string(before + t + 1);
    const double* draw = chain.draw(t);
    for (arma::uword k = 0; k < chain.n_rows(); ++k) {
      line += ',';
      append_number(line, draw[k], digits);
    }
    line += '\n';
    file.write(line);
  }
}

}  // namespace

void save_draws(const std::string& path, const Summary& draws, const std::vector<parameter_name>& names) {
  if (names.size() != draws.n_rows()) throw error_debug("The draws and their names differ in number.");
  const bool apart = path.find('*') != std::string::npos;
  file_writer file(apart ? replace_all(path, "*", "1") : path);
  file.write(heading(names));
  arma::uword before = 0;
  for (std::size_t j = 0; j < draws.n_chains(); ++j) {
    if (apart && j > 0) {
      file_set::store(std::move(file));
      file = file_writer(replace_all(path, "*", std::to_string(j + 1)));
      file.write(heading(names));
    }
    const chain_draws& chain = draws.chains()[j];
    write_chain(file, chain, j + 1, before);
    before += chain.n_cols();
  }
  file_set::store(std::move(file));
}

}  // namespace tovik
