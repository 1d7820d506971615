#include "fuzz/target.h"

#include <array>
#include <string_view>

#include "fuzz/mutator.h"
#include "fuzz/recover_target.h"
#include "fuzz/seeds.h"
#include "fuzz/targets.h"

namespace fuzz {
namespace {

std::vector<jet::Bytes> DataSeeds() { return UpgradeSeeds(db::Kind::kData); }
std::vector<jet::Bytes> TenkaiSeeds() { return UpgradeSeeds(db::Kind::kTenkai); }

constexpr std::array kTargets = {
    Target{"open", OpenFile, FileSeeds, MutateFile, true, 35'000},
    Target{"change", ChangeFile, FileSeeds, MutateFile, true, 12'000},
    Target{"upgrade_data", UpgradeData, DataSeeds, MutateFile, true, 2'000},
    Target{"upgrade_tenkai", UpgradeTenkai, TenkaiSeeds, MutateFile, true, 2'000},
    Target{"select", SelectFile, SelectSeeds, MutateFile, true, 20'000},
    Target{"recover", RecoverFile, FileSeeds, MutateFile, true, 10'000},
    Target{"recover_damage", RecoverDamage, DamageSeeds, MutateDamage, true, 10'000},
    Target{"recover_real", RecoverRealDamage, RealDamageSeeds, MutateDamage, true, 1'000},
    Target{"compact", CompactFile, FileSeeds, MutateFile, true, 10'000},
    Target{"sql", SqlText, SqlSeeds, MutateSql, false, 300'000},
    Target{"query_rows", QueryRows, SqlSeeds, MutateSql, false, 150'000},
    Target{"property", PropertyBlob, PropertySeeds, MutateBytes, false, 250'000},
    Target{"collation", SortKeys, TextSeeds, MutateUnits, false, 250'000},
};

}  // namespace

std::span<const Target> Targets() { return kTargets; }

const Target* FindTarget(std::string_view name) {
  for (const Target& target : kTargets) {
    if (target.name == name) return &target;
  }
  return nullptr;
}

jet::Bytes MakeInput(const Target& target, std::span<const jet::Bytes> seeds, std::uint64_t seed,
                     std::uint64_t number, std::string& said) {
  Random random(seed * 0x1'0000'0001u ^ number * 0x9E37'79B9'7F4A'7C15u);
  random.Next();
  const std::size_t base = random.Below(seeds.size());
  jet::Bytes input = seeds[base];
  // Small inputs wander further from their seed.
  const std::size_t rounds = target.whole_file ? 1 : 1 + random.Below(6);
  said = "seed " + std::to_string(base);
  for (std::size_t i = 0; i < rounds; ++i) said += "; " + target.mutate(input, random);
  return input;
}

}  // namespace fuzz
