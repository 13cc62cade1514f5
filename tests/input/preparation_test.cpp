#include "input/preparation.hpp"

#include <cmath>
#include <sstream>

#include "command_file.hpp"
#include "data/named_effect.hpp"
#include "input/catalogue_adder.hpp"
#include "input/observed_bits.hpp"
#include "model/model_list.hpp"

namespace tovik::tests::preparation_test {
namespace {

struct Preparation : CommandFile {
  void prepare(const std::string& text, const std::string& commands, const std::string& model) {
    write("d.csv", text);
    in = add(commands, model.empty() ? "" : "MODEL: " + model);
    matrix = in->data();
    vars = in->variableList(matrix);
    models = std::make_unique<ModelList>(in->modelList(vars));
    warning::buffer.clear();
    in->update(matrix, vars, *models);
  }

  std::unique_ptr<InputFile> in;
  arma::Mat<double> matrix;
  VariableList vars;
  std::unique_ptr<ModelList> models;
};

TEST_F(Preparation, FixedVariablesAreCenteredAndTheirRawColumnIsKept) {
  prepare("id,y,x,v,n\n1,1,2,5,1\n1,2,4,5,2\n2,3,1,6,3\n2,4,2,6,1\n2,4,3,6,2\n3,2,5,4,3\n",
          "CLUSTERID: id; FIXED: x v n; NOMINAL: n; CENTER: cwc = x, cgm = v n;", "y ~ x v n");
  const auto x = vars.find("x");
  EXPECT_EQ(x->uncentered, (std::vector<double>{2, 4, 1, 2, 3, 5}));
  const double means[] = {3, 3, 2, 2, 2, 5};
  for (unsigned i = 0; i < 6; ++i) EXPECT_DOUBLE_EQ(matrix(i, x->column), x->uncentered[i] - means[i]);
  EXPECT_EQ(vars.find("v")->uncentered, (std::vector<double>{5, 5, 6, 6, 6, 4}));
  for (unsigned i = 0; i < 6; ++i)
    EXPECT_DOUBLE_EQ(matrix(i, vars.find("v")->column), vars.find("v")->uncentered[i] - 5.0);
  EXPECT_TRUE(vars.find("n")->uncentered.empty());
  for (const auto& code : vars.find("n")->dummies) {
    ASSERT_EQ(code->uncentered.size(), 6u);
    for (unsigned i = 0; i < 6; ++i) {
      EXPECT_TRUE(code->uncentered[i] == 0.0 || code->uncentered[i] == 1.0);
      EXPECT_DOUBLE_EQ(matrix(i, code->column), code->uncentered[i] - 1.0 / 3.0);
    }
  }
  EXPECT_TRUE(vars.find("y")->uncentered.empty());
}

TEST_F(Preparation, ModelledVariablesAreNotCenteredHere) {
  prepare("y,x\n1,2\n2,4\n3,9\n", "CENTER: x;", "y ~ x");
  EXPECT_TRUE(vars.find("x")->uncentered.empty());
  EXPECT_EQ(matrix(2, 1), 9.0);
}

TEST_F(Preparation, ACenteredOutcomeHasACopyForItsReadersOnly) {
  prepare("id,y,m,w\n1,1,2,5\n1,2,4,5\n2,3,1,6\n2,4,2,6\n", "CLUSTERID: id; CENTER: cwc = m, cgm = y;",
          "y ~ m w (m * w); m ~ w");
  const auto m = vars.find("m");
  ASSERT_EQ(m->centered_columns.size(), 1u);
  const unsigned copy = m->centered_columns.front();
  EXPECT_GT(copy, vars.find("1")->column);
  EXPECT_TRUE(std::isnan(matrix(0, copy)));
  EXPECT_TRUE(vars.find("y")->centered_columns.empty());  // nobody reads it
  const Model& reader = (*models)[(*models)[0].name() == "y" ? 0 : 1];
  const Model& owner = (*models)[(*models)[0].name() == "y" ? 1 : 0];
  const std::vector<unsigned> x = reader.xind();
  EXPECT_NE(std::find(x.begin(), x.end(), copy), x.end());
  EXPECT_EQ(std::find(x.begin(), x.end(), m->column), x.end());
  EXPECT_EQ(owner.yind(), std::vector<unsigned>{m->column});
  EXPECT_EQ(owner.rawIndicators(), std::vector<unsigned>{m->column});
  const std::vector<unsigned> in_product = reader.fixed_compute.at(0).indicators().at(0);
  EXPECT_NE(std::find(in_product.begin(), in_product.end(), copy), in_product.end());
  ASSERT_EQ(vars.outcomeWithMeans().size(), 1u);
  EXPECT_EQ(vars.outcomeWithMeans().front(), m);
}

TEST_F(Preparation, StackedDataKeepWhatWasRead) {
  prepare("y,x\n1,2\nNA,4\n3,9\n",
          "SAVE: stacked0 = s.csv; NIMPS: 2; THIN: 3; OPTIONS: listwise; FIXED: x; CENTER: x;", "y ~ x");
  ASSERT_FALSE(in->imputations.empty());
  ASSERT_EQ(in->imputations[0].n_rows, 3u);
  ASSERT_EQ(in->imputations[0].n_cols, 2u);
  EXPECT_EQ(in->imputations[0](2, 1), 9.0);
  EXPECT_TRUE(std::isnan(in->imputations[0](1, 0)));
  EXPECT_EQ(matrix.n_rows, 2u);
  EXPECT_EQ(in->dropped_rows, (std::vector<arma::uword>{1}));
}

TEST_F(Preparation, DerivedColumnsStandBehindAllOthers) {
  prepare("id,y,x,v\n1,1,2,5\n1,2,NA,5\n2,3,1,6\n2,4,2,6\n",
          "CLUSTERID: id; NOMINAL: x; RANDOMEFFECT: r = y | Intercept; LATENT: id = f;",
          "y ~ x.mean x.missing d; d = v*2; v ~ r f");
  EXPECT_EQ(vars.find("1")->column, 4u);
  EXPECT_EQ(vars.find("x.2")->column, 5u);
  EXPECT_EQ(vars.find("f")->column, 6u);
  const auto x = vars.find("x");
  EXPECT_EQ(x->rstar, std::vector<unsigned>{7});
  EXPECT_EQ(x->means, std::vector<unsigned>{8});
  EXPECT_EQ(vars.find("x.2")->means, x->means);
  EXPECT_EQ(vars.find("r")->column, 9u);
  EXPECT_EQ(vars.find("y")->randef, std::vector<unsigned>{9});
  EXPECT_EQ(vars.find("y")->randefNames, Names{"r"});
  EXPECT_EQ(in->definition_columns, std::vector<unsigned>{10});
  ASSERT_EQ(matrix.n_cols, 11u);
  EXPECT_EQ(matrix(1, 7), 1.0);
  EXPECT_EQ(matrix(0, 7), 0.0);
  for (unsigned j : {8u, 9u, 10u}) EXPECT_TRUE(std::isnan(matrix(0, j)));
  const auto* effect = dynamic_cast<const data::random*>(vars.find("r").get());
  ASSERT_NE(effect, nullptr);
  EXPECT_EQ(effect->estimated_in(), vars.find("y"));
}

TEST_F(Preparation, EveryColumnOfTheEquationsIsInTheData) {
  prepare("id,y,x,o,v,k\n1,1,2,1,5,1\n1,2,NA,2,5,2\n2,3,1,1,6,3\n2,4,2,2,6,1\n3,5,7,1,2,2\n3,4,6,2,2,5\n",
          "CLUSTERID: id; ORDINAL: o; COUNT: k; RANDOMEFFECT: r = y | Intercept;",
          "y ~ x.mean x.missing o.latent (x*v) d | x; d = x*2; v ~ r; o ~ x; k ~ x; y <-> k");
  for (const Model& m : *models) {
    for (const auto& list : {m.yind(), m.xind()}) {
      for (unsigned column : list) EXPECT_LT(column, matrix.n_cols) << m.command();
    }
    for (const auto& level : m.zind()) {
      for (unsigned column : level) EXPECT_LT(column, matrix.n_cols) << m.command();
    }
    for (const auto& term : m.xindInter()) {
      for (const auto& design : term) {
        for (unsigned column : design) EXPECT_LT(column, matrix.n_cols) << m.command();
      }
    }
  }
}

TEST_F(Preparation, ManyCategoriesAreNoNominalVariable) {
  std::ostringstream text;
  text << "y,x\n";
  for (int i = 0; i < 3000; ++i) text << i % 7 << "," << i << "\n";
  write("d.csv", text.str());
  in = add("NOMINAL: x;", "MODEL: y ~ x;");
  matrix = in->data();
  EXPECT_EQ(fault([&] { in->variableList(matrix); }),
            "ERROR: The NOMINAL variable 'x' has 3000 categories.\n"
            "       At most 1000 categories are supported.");
  in = add("ORDINAL: x;", "MODEL: y ~ x;");
  matrix = in->data();
  EXPECT_EQ(in->variableList(matrix).find("x")->values.size(), 3000u);
}

TEST_F(Preparation, NamesHoldNoOperators) {
  for (const std::string& character : InputFile::invalid_strings) {
    write("d.csv", "1,2\n2,3\n");
    in = add("", "MODEL: y ~ x;");
    in->variableNames = {"y", "a" + character + "b"};
    EXPECT_EQ(fault([&] { in->data(); }), "ERROR: Variables cannot contain the character '" + character +
                                              "'.\n       See variable 'a" + character + "b'");
  }
}

TEST(ObservedBits, CompareRows) {
  const double nan = arma::datum::nan;
  std::vector<double> a(130, nan);
  std::vector<double> b(130, 1.0);
  a[129] = 0;
  observed_bits bits(a.data(), a.size());
  EXPECT_EQ(bits.count(), 1u);
  EXPECT_TRUE(bits[129]);
  EXPECT_FALSE(bits[0]);
  EXPECT_TRUE(bits.meets(observed_bits(b.data(), b.size())));
  b[129] = nan;
  EXPECT_FALSE(bits.meets(observed_bits(b.data(), b.size())));
  observed_bits all(130, true);
  EXPECT_EQ(all.count(), 130u);
  all &= bits;
  EXPECT_EQ(all.count(), 1u);
  observed_bits none(130, false);
  EXPECT_TRUE(none.none());
  none |= observed_bits(b.data(), b.size());
  EXPECT_EQ(none.count(), 129u);
  EXPECT_EQ(observed_bits(128, true).count(), 128u);
}

}  // namespace
}  // namespace tovik::tests::preparation_test
