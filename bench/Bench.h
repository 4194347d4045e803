// The measurements. Each group stands in a source file of its own name.
#pragma once

#include "Report.h"

namespace bench {

struct Options {
    bool quick = false;
};

/// Single calls against the bare echo.
void MeasureLatency(const Options& options, Report& report);
/// Throughput, broadcast, and what a connection takes.
void MeasureFramework(const Options& options, Report& report);
/// The database in this process, with few and with many instances.
void MeasureDatabase(const Options& options, Report& report);
/// Start-up, monitoring, and what an instance takes.
void MeasureManager(const Options& options, Report& report);

}  // namespace bench
