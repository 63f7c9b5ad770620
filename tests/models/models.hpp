// The models. A model does what a part of the system is for, slowly and step by step; a case plays
// one random story to the model and to the system and compares all that the two have shown.
#pragma once

#include "tests/models/random_cases.hpp"

namespace tarn {

void PlayContinuous(Random& random);
void PlayGeneric(Random& random);
void PlayMira(Random& random);
void PlaySerialTemplate(Random& random);
void PlayNetworkTemplate(Random& random);
void PlayKesSD(Random& random);
void PlaySummit(Random& random);

}  // namespace tarn
