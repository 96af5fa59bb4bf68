// vello filters: what the catalogue holds.
#include <memory>

#include "engine/catalogue/filter.h"
#include "hosts/cli/commands.h"
#include "hosts/cli/console.h"
#include "hosts/cli/filter_listing.h"
#include "hosts/cli/near_names.h"

namespace vello::cli {
namespace {

struct FiltersArguments {
  std::string name, category;
  bool json = false;
};

int listFilters(const FiltersArguments& arguments) {
  const std::vector<std::string> names = CIFilter::filterNamesInCategory(arguments.category);
  if (names.empty()) return wrongUsage(unknownCategory(arguments.category));
  FilterList filters;
  for (const std::string& name : names) filters.push_back(CIFilter::attributesForFilterName(name));
  say(arguments.json ? filtersAsJson(filters) : filtersAsTable(filters));
  return kDone;
}

int describeFilter(const FiltersArguments& arguments) {
  const FilterAttributes* filter = CIFilter::attributesForFilterName(arguments.name);
  if (!filter) return wrongUsage(unknownFilter(arguments.name));
  if (!arguments.category.empty() && !filter->isInCategory(arguments.category))
    return wrongUsage(filter->name + " is not in the category \"" + arguments.category + "\"");
  say(arguments.json ? filtersAsJson({filter}) : filterDescription(*filter));
  return kDone;
}

}  // namespace

void addFiltersCommand(CommandLine& line) {
  const auto arguments = std::make_shared<FiltersArguments>();
  CLI::App* command = line.parser.add_subcommand("filters", "List the filters, or describe one");
  command->add_option("NAME", arguments->name, "Describe this filter with all its inputs")->type_name("");
  command
      ->add_option("--category", arguments->category,
                   "Only filters of this category, as Blur or CICategoryBlur")
      ->type_name("C");
  command->add_flag("--json", arguments->json, "As JSON: an array of objects");
  command->footer(
      "Keys of the JSON objects: name, displayName, categories, inputs; of an input: key, displayName, "
      "class, type,\n"
      "default, identity, min, max, sliderMin, sliderMax. What an input does not have is left out.");
  command->callback([&line, arguments] {
    line.run = [arguments] {
      return arguments->name.empty() ? listFilters(*arguments) : describeFilter(*arguments);
    };
  });
}

}  // namespace vello::cli
