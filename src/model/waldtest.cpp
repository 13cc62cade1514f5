#include "model/waldtest.hpp"

#include "model/row_table.hpp"

namespace tovik::model {

std::vector<contrast> waldtest::contrasts() const {
  std::vector<contrast> out;
  for (const difference& one : differences) {
    for (contrast& c : one.contrasts()) out.push_back(std::move(c));
  }
  for (const constraint& one : constraints) out.push_back(one.compare());
  return out;
}

void waldtest::set_spans(const ModelList& models) {
  const row_table table(models);
  for (difference& one : differences) one.span = {table.first(one.position), table.count(one.position)};
  n_params = table.total();
}

std::vector<std::string> waldtest::full() const {
  std::vector<std::string> out;
  for (const difference& one : differences) out.push_back(one.full.command());
  out.insert(out.end(), other_statements.begin(), other_statements.end());
  return out;
}

std::vector<std::string> waldtest::restricted() const {
  std::vector<std::string> out;
  for (const difference& one : differences) out.push_back(one.restricted.command());
  out.insert(out.end(), other_statements.begin(), other_statements.end());
  return out;
}

}  // namespace tovik::model
