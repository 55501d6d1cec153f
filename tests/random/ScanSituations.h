#pragma once

#include "Random.h"
#include "ScanModel.h"

#include <string>
#include <vector>

// What a scan may meet with, at random.

ScanModel::Situation AnySituation(Random& random);

std::vector<ScanModel::Situation> SimplerSituations(const ScanModel::Situation& situation);

/// As the code of a unit test of the scan.
std::string SituationText(const ScanModel::Situation& situation);
