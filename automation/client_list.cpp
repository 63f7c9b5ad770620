#include "automation/client_list.hpp"

#include <TarnSclServer.h>

#include <algorithm>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "automation/com_owners.hpp"
#include "automation/com_values.hpp"

namespace tarn {
namespace {

using Row = std::vector<Variant>;

Variant DateVariant(DATE date) {
  Variant value;
  V_VT(value.Get()) = VT_DATE;
  V_DATE(value.Get()) = date;
  return value;
}

Variant CountVariant(std::size_t count) {
  return Variant(static_cast<LONG>(std::min<std::size_t>(count, MAXLONG)));
}

ClientState StateOf(const Lane& lane) {
  switch (lane.State()) {
    case LaneState::Prompt:
      return ClientPrompt;
    case LaneState::Late:
      return ClientLate;
    case LaneState::Lost:
      break;
  }
  return ClientLost;
}

/// In the order of the columns.
Row RowOf(const ClientApartment& client) {
  const LaneCounts counts = client.Counts();
  return {Variant(static_cast<LONG>(client.process)),
          ToVariant(client.program),
          DateVariant(client.since),
          Variant(LONG{client.subscriptions}),
          Variant(LONG{StateOf(client)}),
          CountVariant(counts.delivered),
          CountVariant(counts.waiting),
          CountVariant(counts.merged),
          CountVariant(counts.dropped),
          ToVariant(client.Held())};
}

}  // namespace

SAFEARRAY* ListClients(ComModule& module) {
  std::vector<Row> rows;
  auto others = module.Clients().Processes();
  for (const auto& client : module.CallsOut().Apartments()) {
    others.erase(client->process);
    rows.push_back(RowOf(*client));
  }
  for (const auto& [process, since] : others) {
    Row row{Variant(static_cast<LONG>(process)), ToVariant(ProgramOf(process)), DateVariant(since)};
    while (row.size() + 1 < ClientTimeHeld) row.push_back(Variant(LONG{0}));
    row.push_back(ToVariant(0.0));
    rows.push_back(std::move(row));
  }

  SAFEARRAYBOUND bounds[] = {{static_cast<ULONG>(rows.size()), 1}, {ClientTimeHeld, 1}};
  Variant list;
  V_ARRAY(list.Get()) = SafeArrayCreate(VT_VARIANT, 2, bounds);
  if (V_ARRAY(list.Get()) == nullptr) throw std::bad_alloc();
  V_VT(list.Get()) = VT_ARRAY | VT_VARIANT;
  for (LONG i = 0; i < static_cast<LONG>(rows.size()); ++i) {
    for (LONG column = 0; column < ClientTimeHeld; ++column) {
      LONG at[] = {i + 1, column + 1};
      Variant& value = rows[static_cast<std::size_t>(i)][static_cast<std::size_t>(column)];
      if (FAILED(SafeArrayPutElement(V_ARRAY(list.Get()), at, value.Get()))) throw std::bad_alloc();
    }
  }
  const VARIANT given = list.Detach();
  return V_ARRAY(&given);
}

}  // namespace tarn
