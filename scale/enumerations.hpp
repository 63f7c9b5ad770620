// The enumerations that the published interface and the settings file carry as plain 32-bit
// numbers.
#pragma once

#include <cstdint>

namespace tarn {

/// How bytes reach the terminal.
enum class ConnectionType : std::int32_t { none = 0, serial = 1, arcnet = 2, EtherNet = 3 };

/// The family of dialects that one protocol class speaks.
enum class ProtocolClass : std::int32_t {
  NoProt = 0,
  TarnContinuous = 1,
  Mira = 2,
  Demand = 3,
  Host = 4,
  KesSharedData = 5,
  KesSQL = 6,
  FenBalance = 7,
  RowanBC = 8,
  DemandTemplate = 9,
  KesDemandTemplate = 10,
  SummitDataClass = 11,
  Generic = 12,
};

/// The exact dialect; `scale/dialects.hpp` has a row for each. Some have a family but no protocol
/// that speaks them.
enum class ProtocolType : std::int32_t {
  NoProtType = 0,
  TarnContinuousStandard = 1,
  TarnContinuousStandardSetpoint = 2,
  TarnContinuousStandardCount = 3,
  TarnContinuousShort = 4,
  TarnContinuousShortSetpoint = 5,
  Mira_Level_0_SIR = 6,
  Mira_Level_0_Mode_Commands = 7,
  Demand_GTN = 8,
  Demand_GTN_ID_T_D = 9,
  Demand_GTN_ID_T_D_Pieces = 10,
  HostAlder = 11,
  HostBirch = 12,
  HostCedar = 13,
  KesSharedDataType = 14,
  KesSQLType = 15,
  FenBalanceType = 16,
  RowanBCType = 17,
  DemandTemplateType = 18,
  KesDemandTemplateType = 19,
  OrbixDiagDataType = 20,
  PredictFailureDataType = 21,
  ScaleDiagDataType = 22,
  KesBasicDataType = 23,
  CardinalScbdContinuous = 24,
  FairbanksAutoComp = 25,
  GSE550 = 26,
  RiceLakeCCSerial = 27,
  WeighTronixWI120 = 28,
};

/// Line speeds as indexes. Value 7 is published as Baud_34800 and keeps that name; the line runs at
/// 38400 baud.
enum class CommBaudRate : std::int32_t {
  Baud_110 = 0,
  Baud_300 = 1,
  Baud_1200 = 2,
  Baud_2400 = 3,
  Baud_4800 = 4,
  Baud_9600 = 5,
  Baud_19200 = 6,
  Baud_34800 = 7,
  Baud_57600 = 8,
  Baud_115200 = 9,
  Baud_230400 = 10,
  Baud_460800 = 11,
  Baud_921600 = 12,
};

enum class CommParity : std::int32_t { NoParity = 0, Even = 1, Odd = 2, Space = 3, Mark = 4 };

/// In descending order: 0 is eight bits.
enum class CommDataBits : std::int32_t { Eight = 0, Seven = 1, Six = 2, Five = 3, Four = 4 };

enum class CommStopBits : std::int32_t { One = 0, One_Five = 1, Two = 2 };

/// The family of a dialect; NoProt for every number that is no dialect.
ProtocolClass TypeToClass(ProtocolType type);

}  // namespace tarn
