#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <sstream>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "damo/damo_dimension_diff.h"
#include "damo/damo_relation_diff.h"
#include "gtest/gtest.h"
#include "support/record_bases.h"
#include "support/temp_folder.h"
#include "support/texts.h"

namespace {

using Record = std::vector<std::string>;
using Records = std::vector<Record>;

/// The lines of a text, and of a table, in the order of their bytes.
std::multiset<std::string> lines_of(const std::string& text) {
  std::istringstream stream(text);
  std::multiset<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.insert(line + "\n");
  return lines;
}
std::multiset<std::string> lines_of(const Records& records) {
  std::multiset<std::string> lines;
  for (const Record& record : records) lines.insert(support::line_of(record));
  return lines;
}

/// A line of a difference file, as a record and whether it is a deletion.
struct Difference {
  Record record;
  bool isDeletion;

  std::string line() const { return (isDeletion ? "<del>\t" : "") + support::line_of(record); }
};

std::string text_of(const std::vector<Difference>& differences) {
  std::string text;
  for (const Difference& difference : differences) text += difference.line();
  return text;
}

/// Orders: number, customer, product, amount; the key is number and customer. Customers: number, name.
/// Products: name, code.
class Shop {
 public:
  explicit Shop(unsigned seed) : random(seed) {
    for (unsigned i = 0; i < 6; ++i) {
      if (below(8) != 0) customers.push_back({"c" + std::to_string(i), "name"});
      if (below(8) != 0) products.push_back({"name", "p" + std::to_string(i)});
    }
    for (unsigned n = below(14); n > 0; --n) orders.push_back(order());
  }
  unsigned below(unsigned n) { return static_cast<unsigned>(random() % n); }
  Record order() {
    return {std::to_string(below(8)), "c" + std::to_string(below(6)), "p" + std::to_string(below(6)),
            std::to_string(below(3))};
  }
  std::vector<Difference> customer_differences() {
    std::vector<Difference> made;
    for (unsigned n = below(4); n > 0; --n) {
      const bool isDeletion = below(2) == 0;
      made.push_back({{"c" + std::to_string(below(7)), isDeletion ? "" : "new"}, isDeletion});
    }
    return made;
  }
  std::vector<Difference> order_differences() {
    std::vector<Difference> made;
    for (unsigned n = below(10); n > 0; --n) {
      made.push_back({order(), below(2) == 0});
      if (made.back().isDeletion && below(3) == 0) made.back().record[below(2)] = "*";
    }
    return made;
  }

  std::mt19937 random;
  Records customers, products, orders;
};

/// Differences applied to a table one by one; "*" in keys of deletions is any value.
Records applied(const Records& table, const std::vector<Difference>& differences, std::size_t num_ids,
                bool is_purge, bool is_implicit) {
  const auto key_of = [num_ids](const Record& record) {
    return Record(record.begin(), record.begin() + static_cast<long>(num_ids));
  };
  std::map<Record, Records> delivered;
  std::set<Record> keys;
  for (const Record& record : table) keys.insert(key_of(record));
  for (const Difference& difference : differences) {
    const Record pattern = key_of(difference.record);
    if (!difference.isDeletion) {
      if (is_implicit) delivered[pattern].clear();
      delivered[pattern].push_back(difference.record);
      keys.insert(pattern);
      continue;
    }
    for (const Record& key : keys) {
      bool isMatch = true;
      for (std::size_t i = 0; i < num_ids; ++i)
        isMatch = isMatch && (pattern[i] == "*" || pattern[i] == key[i]);
      if (isMatch) delivered[key].clear();
    }
  }
  Records result;
  for (const Record& record : table)
    if (!is_purge && delivered.count(key_of(record)) == 0) result.push_back(record);
  for (const auto& [key, records] : delivered) result.insert(result.end(), records.begin(), records.end());
  return result;
}

/// Without those that had an order and have none.
Records left(const Records& masters, std::size_t id, std::size_t carrier, const Records& before,
             const Records& after) {
  const auto carries = [carrier](const Records& orders, const std::string& key) {
    return std::any_of(orders.begin(), orders.end(),
                       [&](const Record& order) { return order[carrier] == key; });
  };
  Records result;
  for (const Record& master : masters)
    if (!carries(before, master[id]) || carries(after, master[id])) result.push_back(master);
  return result;
}

TEST(DamoCascade, leaves_what_a_join_leaves) {
  const support::TempFolder folder;
  const auto name = [&](const char* file) { return folder.file(file); };
  for (unsigned seed = 0; seed < 80; ++seed) {
    Shop shop(seed);
    const bool isPurge = seed % 5 == 4, isImplicit = seed % 2 == 0;
    const auto customerDifferences = shop.customer_differences();
    auto orderDifferences = shop.order_differences();
    support::Table table;
    for (const char* field : {"number", "customer", "product", "amount"})
      table.fields.push_back({.name = field, .type = "BASIC|CHANGING|NONE|ORIGINAL"});
    table.records = shop.orders;
    const auto base = support::build_base(table, folder);
    ASSERT_NE(base, nullptr);
    support::write_file(name("orders"), table.text());
    support::write_file(name("orders.dif"), text_of(orderDifferences));
    std::string text;
    for (const Record& record : shop.customers) text += support::line_of(record);
    support::write_file(name("customers"), text);
    text.clear();
    for (const Record& record : shop.products) text += support::line_of(record);
    support::write_file(name("products"), text);
    support::write_file(name("customers.dif"), text_of(customerDifferences));

    const int first = 0, orderKey[] = {0, 1}, customerColumn = 1, productColumn = 2, code = 1;
    DamoDimensionDiff customers(&first, 1, 2, isPurge ? 1 : 0, isImplicit ? 1 : 0);
    customers.set_relation(&customerColumn, orderKey, 2, 4);
    customers.add_rows(name("orders").c_str());
    customers.set_cascade_file(name("orders.cascade").c_str());
    customers.add_diff(name("customers.dif").c_str(), AceReporter::null());
    const VInt numRows = customers.cascade_master_deletions(AceReporter::null());

    // Rows of masters that are not there any more because of the differences.
    const Records customersNow = applied(shop.customers, customerDifferences, 1, isPurge, isImplicit);
    std::vector<Difference> all;
    for (const Record& order : shop.orders) {
      const bool isNamed = std::any_of(customerDifferences.begin(), customerDifferences.end(),
                                       [&](const Difference& d) { return d.record[0] == order[1]; });
      const bool isThere = std::any_of(customersNow.begin(), customersNow.end(),
                                       [&](const Record& r) { return r[0] == order[1]; });
      if (!isThere && (isNamed || isPurge)) all.push_back({order, true});
    }
    EXPECT_EQ(support::read_file(name("orders.cascade")), text_of(all));
    EXPECT_EQ(numRows, static_cast<VInt>(all.size()));
    all.insert(all.end(), orderDifferences.begin(), orderDifferences.end());
    const Records ordersNow = applied(shop.orders, all, 2, isPurge, isImplicit);

    DamoRelationDiff orders(orderKey, 2, 4, isPurge ? 1 : 0, isImplicit ? 1 : 0);
    orders.add_master(&customerColumn, &first, 1, 2, name("customers.cascade").c_str());
    orders.add_master(&productColumn, &code, 1, 2, name("products.cascade").c_str());
    EXPECT_EQ(orders.init(base.get(), AceReporter::null()), static_cast<VInt>(shop.orders.size()));
    orders.add_diff(name("orders.cascade").c_str(), AceReporter::null());
    orders.add_diff(name("orders.dif").c_str(), AceReporter::null());
    orders.cascade_slave_deletions(AceReporter::null());
    orders.add_file(name("orders").c_str(), name("orders").c_str());
    orders.update(AceReporter::null());
    EXPECT_EQ(lines_of(support::read_file(name("orders"))), lines_of(ordersNow)) << seed << "\n"
                                                                                 << text_of(all);

    customers.add_diff(name("customers.cascade").c_str(), AceReporter::null());
    customers.add_file(name("customers").c_str(), name("customers").c_str());
    customers.update(AceReporter::null());
    EXPECT_EQ(lines_of(support::read_file(name("customers"))),
              lines_of(left(customersNow, 0, 1, shop.orders, ordersNow)))
        << seed;
    DamoDiff products(&code, 1, 2, 0, 0);
    products.add_diff(name("products.cascade").c_str(), AceReporter::null());
    products.add_file(name("products").c_str(), name("products").c_str());
    products.update(AceReporter::null());
    EXPECT_EQ(lines_of(support::read_file(name("products"))),
              lines_of(left(shop.products, 1, 2, shop.orders, ordersNow)))
        << seed;
  }
}

TEST(DamoCascade, tells_its_decisions_and_what_it_cannot_do) {
  const support::TempFolder folder;
  support::Table table;
  for (const char* field : {"number", "customer"})
    table.fields.push_back({.name = field, .type = "BASIC|CHANGING|NONE|ORIGINAL"});
  table.fields.push_back({.name = "nothing", .type = "BASIC|CHANGING|NONE|NUMERIC"});
  table.records = {{"1", "a", "7"}, {"2", "a", "7"}, {"2", "b", "7"}};
  const auto base = support::build_base(table, folder);
  ASSERT_NE(base, nullptr);
  const int key[] = {0, 1}, customer = 1, nothing = 2, id = 0;
  support::write_file(folder.file("dif"), "<del>\t*\ta\t\n<del>\t7\t*\t\n*\tc\tnot a deletion\n*\tb\t\n");
  DamoRelationDiff rows(key, 2, 3, 0, 0);
  EXPECT_THROW(rows.cascade_slave_deletions(AceReporter::null()), AceException);
  EXPECT_EQ(rows.add_master(&customer, &id, 1, 2, folder.file("cascade").c_str()), 1);
  EXPECT_THROW(rows.add_master(&customer, &nothing, 1, 2, folder.file("x").c_str()), AceException);
  EXPECT_EQ(rows.init(base.get(), AceReporter::null()), 3);
  EXPECT_THROW(rows.init(base.get(), AceReporter::null()), AceException);
  rows.set_debug_file(folder.file("debug").c_str());
  rows.add_diff(folder.file("dif").c_str(), AceReporter::null());
  EXPECT_EQ(rows.cascade_slave_deletions(AceReporter::null()), 2);
  EXPECT_EQ(support::read_file(folder.file("cascade")), "<del>\ta\t\n<del>\tb\t\n");
  EXPECT_EQ(support::read_file(folder.file("debug")),
            "row deleted by pattern\t1|a\t<del>|*|a|\nrow deleted by pattern\t2|a\t<del>|*|a|\n"
            "row deleted by pattern\t2|b\t*|b|\n"
            "master deleted with its last row\ta\t<del>|*|a|\nmaster deleted with its last row\tb\t*|b|\n");
  DamoRelationDiff unknown(key, 2, 4, 0, 0);
  EXPECT_THROW(unknown.init(base.get(), AceReporter::null()), AceException);
  DamoRelationDiff silent(key, 2, 3, 0, 0);
  silent.add_master(&nothing, &id, 1, 2, folder.file("x").c_str());
  EXPECT_THROW(silent.init(base.get(), AceReporter::null()), AceException);

  support::write_file(folder.file("rows"), "1\ta\n2\n3\tb\n");
  support::write_file(folder.file("masters"), "<del>\ta\t\n");
  const int first = 0, second = 1;
  DamoDimensionDiff masters(&first, 1, 2, 0, 0);
  EXPECT_THROW(masters.cascade_master_deletions(AceReporter::null()), AceException);
  EXPECT_THROW(masters.set_relation(&second, &first, 1, 1), AceException);
  masters.set_relation(&second, &first, 1, 2);
  masters.add_rows(folder.file("rows").c_str());
  masters.add_diff(folder.file("masters").c_str(), AceReporter::null());
  masters.set_cascade_file(folder.file("gone").c_str());
  masters.set_debug_file(folder.file("debug").c_str());
  EXPECT_EQ(masters.cascade_master_deletions(AceReporter::null()), 1);
  EXPECT_EQ(support::read_file(folder.file("gone")), "<del>\t1\ta\n");
  EXPECT_EQ(support::read_file(folder.file("debug")), "row deleted with its master\t1\t<del>|a|\n");
}

}  // namespace
