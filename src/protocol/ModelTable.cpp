#include "ModelTable.h"

#include <array>

namespace protocol {
namespace {

constexpr int kFirstModelCode = 1;

constexpr std::array kModels = {
    "Alder",   "Birch",     "Cedar",   "Elm",      "Fir",      "Catalpa", "Tamarack", "Hazel",
    "Larch",   "Maple",     "Dogwood", "Yew",      "Pine",     "Oak",     "Rowan",    "Spruce",
    "Willow",  "Teak",      "Ginkgo",  "Ebony",    "Hickory",  "Banyan",  "Aspen",    "Chestnut",
    "Beech",   "Cypress",   "Holly",   "Juniper",  "Mulberry", "Linden",  "Myrtle",   "Olive",
    "Poplar",  "Sassafras", "Laurel",  "Redwood",  "Magnolia", "Sequoia", "Mahogany", "Walnut",
    "Hemlock", "Sumac",     "Acacia",  "Hornbeam", "B7N",      "Baobab",
};

} // namespace

QLatin1String modelName(int code)
{
    const int index = code - kFirstModelCode;
    if (index < 0 || index >= static_cast<int>(kModels.size()))
        return QLatin1String("null");
    return QLatin1String(kModels[static_cast<std::size_t>(index)]);
}

} // namespace protocol
