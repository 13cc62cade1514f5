#include "sem/nominal_world.hpp"

namespace tovik::tests {

sem::nominal_codes add_codes(World& world, const std::vector<double>& values) {
  sem::nominal_codes out{values, arma::Col<arma::uword>(values.size() - 1)};
  for (arma::uword& column : out.columns) {
    column = world.data.n_cols;
    world.data.insert_cols(column, 1);
  }
  return out;
}

void write_categories(World& world, unsigned level, arma::uword y, const sem::nominal_codes& codes,
                      const arma::Col<arma::uword>& categories) {
  for (arma::uword row = 0; row < world.data.n_rows; ++row) {
    arma::uword const k = categories(world.units[level](row));
    world.data(row, y) = codes.values[k];
    for (arma::uword c = 0; c < codes.columns.n_elem; ++c)
      world.data(row, codes.columns(c)) = c + 1 == k ? 1.0 : 0.0;
  }
}

void draw_categories(World& world, const sem::Nominal& model, const sem::nominal_codes& codes, Random& rng) {
  const arma::Mat<double> p = model.compute_predicted(world.data);
  arma::Col<arma::uword> categories(p.n_rows, arma::fill::zeros);
  for (arma::uword i = 0; i < p.n_rows; ++i) {
    double left = rng.runif() - p(i, 0);
    while (left >= 0.0 && categories(i) + 1 < p.n_cols) left -= p(i, ++categories(i));
  }
  write_categories(world, model.level, model.y(0), codes, categories);
}

}  // namespace tovik::tests
