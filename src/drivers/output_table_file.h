#pragma once

#include "drivers/output_table.h"

/// Loads the illumination file for the fitted optics into @p table: /etc/beamd/illumination.conf, with "."
/// and the boot parameter OPTICS appended where there is one. Cells outside of the table are logged at
/// LOG_ERR and left out. The first angle says how many intensities there are: what others have beyond that
/// is left out. FALSE, logged at LOG_ERR, when the file cannot be loaded or has no angle.
bool load_output_table(OutputTable *table);
