// The commands of kavrelctl. Each gives the exit code of the process.
#pragma once

#include <string>
#include <vector>

#include "cli/job_options.h"
#include "cli/session.h"

namespace kavrel {

int AddJob(Session& session, const JobOptions& options);
int EditJob(Session& session, const std::string& name, const JobOptions& options);
int RemoveJob(Session& session, const std::string& name);
int ListJobs(Session& session, bool json);
int ShowJob(Session& session, const std::string& name, bool json);
int RunJobs(Session& session, const std::vector<std::string>& names);
int ListLog(Session& session, std::size_t last, bool json);
/// Prints the job log of the `newest`-th run, 1 being the last one.
int ShowLog(Session& session, std::size_t newest);

}  // namespace kavrel
