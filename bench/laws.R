# SPDX-License-Identifier: Apache-2.0
# Rscript laws.R FILE: fits laws by maximum likelihood to the values of a file, a number a line, each
# with its Anderson-Darling statistic; prints the processor time in seconds and how many were fitted.
# fitdistrplus has no starting values for laws with a threshold.
suppressMessages(library(fitdistrplus))
values <- scan(commandArgs(trailingOnly = TRUE)[1], quiet = TRUE)
laws <- c("norm", "lnorm", "weibull", "gamma", "exp", "logis")
before <- proc.time()
fitted <- 0
for (law in laws) {
  fit <- fitdist(values, law)
  statistic <- gofstat(fit)$ad
  if (is.finite(fit$loglik)) fitted <- fitted + 1
}
used <- proc.time() - before
cat(used[["user.self"]] + used[["sys.self"]], fitted, "\n")
