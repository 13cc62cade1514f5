// Shared parameters, expressions and conditional effects hold addresses of the models' state: it stays where
// it is for the life of a chain.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fault_message.hpp"
#include "label_bench.hpp"
#include "model/defaults.hpp"
#include "sample_tests.hpp"
#include "support/error.hpp"

namespace tovik::tests::labels_storage_test {
namespace {

/// All addresses of parameters of a bench.
std::vector<const void*> addresses(label_bench& bench) {
  std::vector<const void*> out;
  for (const auto& model : bench.models) {
    out.push_back(model->betas().memptr());
    auto* normal = dynamic_cast<sem::Normal*>(model.get());
    if (normal == nullptr) continue;
    out.push_back(&normal->sigma2);
    for (unsigned L = 0; L < normal->n_levels; ++L)
      for (const arma::mat* state : {&normal->u[L], &normal->Sigma[L], &normal->iSigma[L]})
        out.push_back(state->memptr());
  }
  for (const sem::drawn_label& label : bench.labels)
    out.insert(out.end(), label.constraint->links.begin(), label.constraint->links.end());
  for (const auto& [name, info] : bench.cells) out.push_back(info.cell->get());
  return out;
}

TEST(Storage, OfParametersNeverMoves) {
  const Setting<bool> phantoms(sem::defaults::optimize_models, false);
  Random rng(31, 1);
  arma::mat data = rng.randn(48, 6);
  for (arma::uword i = 0; i < 48; ++i) {
    data(i, 0) = static_cast<double>(i / 3);
    data(i, 1) = static_cast<double>(i / 12);
  }
  label_bench bench(
      {"g", "h", "x", "y", "m", "z"}, data, {"g", "h"},
      {"y ~ x@a z@a (x*k) m@d | 1 x", "m ~ x@b z | 1", "y ~~ y@v", "m ~~ m@v", "y[g] <-> m[g]", "y <-> m@r"},
      {"k ~ normal(0.3, 1)", "d = a * b"}, {1, 1}, 12, false);
  const auto before = addresses(bench);
  EXPECT_GT(before.size(), 25U);
  for (int t = 0; t < 60; ++t) {
    for (const auto& model : bench.models) model->draw(bench.data());
    for (sem::drawn_label& label : bench.labels) label.constraint->draw(bench.data());
    ASSERT_EQ(addresses(bench), before) << "scan " << t;
    if (t % 20 == 19)
      for (const auto& model : bench.models) model->tune();
  }
}

/// Every cell of an expression reads what the report shows.
TEST(Storage, CellsReadTheReportedState) {
  label_bench bench({"x", "y", "z"}, Random(3, 1).randn(20, 3), {}, {"y ~ x@a z@b", "y ~~ y@v"},
                    {"s = a + b + v"}, {}, 12, false);
  for (int t = 0; t < 5; ++t) {
    bench.models[0]->draw(bench.data());
    const sem::Normal& y = bench.equation("y");
    EXPECT_EQ(bench.cell("a"), y.betas_(1));
    EXPECT_EQ(bench.cell("b"), y.betas_(2));
    EXPECT_EQ(bench.cell("v"), y.sigma2);
  }
}

TEST(Storage, FaultsOfConstraintsAreNamed) {
  using sem::estimator::constraint;
  double a = 1.0, b = 2.0;
  Random rng(3);
  sem::estimator::parameterT<double> p;
  p.links = {&a, &b};
  auto has = [](const std::string& text, const char* part) { return text.find(part) != std::string::npos; };
  EXPECT_TRUE(has(message([&] { constraint(&rng, p).ptr(); }), "Not correct length."));
  EXPECT_TRUE(has(message([&] { constraint().ptr(); }), "Not correct length."));
  for (double variance : {-1.0, static_cast<double>(INFINITY), static_cast<double>(NAN)})
    EXPECT_TRUE(has(message([&] { constraint(&rng, p, variance); }), "Invalid starting values."));
}

}  // namespace
}  // namespace tovik::tests::labels_storage_test
