// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/studies/Agreement.h"
#include "engine/studies/Autocorrelation.h"
#include "engine/studies/Bias.h"
#include "engine/studies/Capability.h"
#include "engine/studies/ChartRules.h"
#include "engine/studies/ChartsInUse.h"
#include "engine/studies/CountCapability.h"
#include "engine/studies/CountCharts.h"
#include "engine/studies/Design.h"
#include "engine/studies/Figures.h"
#include "engine/studies/Gage.h"
#include "engine/studies/GroupChart.h"
#include "engine/studies/Laws.h"
#include "engine/studies/LotDecision.h"
#include "engine/studies/Multivariate.h"
#include "engine/studies/RareEvents.h"
#include "engine/studies/RunLengths.h"
#include "engine/studies/SamplingPlan.h"
#include "engine/studies/ShortRun.h"
#include "engine/studies/SpreadGraph.h"
#include "engine/studies/Steps.h"
#include "engine/studies/StudyData.h"
#include "engine/studies/TimeWeighted.h"
#include "engine/studies/Tolerance.h"

// The studies of the embedded engine, for hosts: one function and one type of result each. A study
// of stored data takes stretches of streams (ReadStudyData); all take plain values as well.
