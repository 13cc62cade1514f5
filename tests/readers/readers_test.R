# The reader for R on a short run of examples/schools. Arguments: the program, the root of the sources, a folder
# to work in. Anything that does not hold stops with an error.
arguments <- commandArgs(trailingOnly = TRUE)
program <- arguments[1]
root <- arguments[2]
work <- arguments[3]
dir.create(work, recursive = TRUE, showWarnings = FALSE)
source(file.path(root, "share", "tovik", "tovik.R"))

holds <- function(what, ...) if (!isTRUE(what)) stop(..., call. = FALSE)
fails <- function(expression) {
  fault <- tryCatch({
    expression
    NULL
  }, error = conditionMessage)
  holds(!is.null(fault), "An error did not come.")
  fault
}

file.copy(file.path(root, "examples", "schools", "schools.csv"), work, overwrite = TRUE)
commands <- c("DATA: schools.csv; MISSING: NA; CLUSTERID: school; ORDINAL: books;",
              "MODEL: score ~ ses books climate female;",
              "SEED: 90291; BURN: 500; ITERATIONS: 1000; NIMPS: 5; OUTPUT: default psr;",
              "OPTIONS: keeprows savevarnames;",
              "SAVE: stacked0 = all.csv, stacked = sets.csv, draws = draws.csv, table = table.csv;")
writeLines(commands, file.path(work, "run.tovik"))
report <- tovik_run(file.path(work, "run.tovik"), program = program)
holds(any(grepl("OUTCOME MODEL ESTIMATES", report)), "The report is not there.")

writeLines(sub("books climate", "pages climate", commands), file.path(work, "wrong.tovik"))
fault <- fails(tovik_run(file.path(work, "wrong.tovik"), program = program))
holds(grepl("pages", fault), "The error does not name its cause: ", fault)

# Imputed data sets: observed cells are those of the data file, and analyses pool.
data <- read.csv(file.path(work, "schools.csv"), na.strings = "NA")
imputed <- tovik_mids(file.path(work, "all.csv"))
holds(imputed$m == 5, "There are not five data sets.")
holds(identical(unname(as.list(mice::complete(imputed, 0)[names(data)])), unname(as.list(data))) ||
        isTRUE(all.equal(mice::complete(imputed, 0)[names(data)], data, tolerance = 0, check.attributes = FALSE)),
      "The incomplete data are not those of the file.")
for (k in 1:5) {
  one <- mice::complete(imputed, k)
  holds(!anyNA(one), "A cell of data set ", k, " is missing.")
  for (name in names(data)) {
    seen <- !is.na(data[[name]])
    holds(all(one[[name]][seen] == data[[name]][seen]), "An observed cell of ", name, " has changed.")
  }
}
pooled <- summary(mice::pool(with(imputed, lm(score ~ ses + books + climate + female))))
holds(nrow(pooled) == 5 && all(is.finite(pooled$std.error)), "The pooled regression is not there.")
sets <- tovik_mitml(file.path(work, "sets.csv"))
holds(length(sets) == 5 && identical(sets[[2]]$score, mice::complete(imputed, 2)$score), "The list of data sets differs.")
holds(length(tovik_mitml(file.path(work, "all.csv"))) == 5, "The incomplete data are in the list.")
tested <- mitml::testEstimates(with(sets, lm(score ~ ses + books + climate + female)))
holds(all(abs(tested$estimates[, "Estimate"] - pooled$estimate) < 1e-10), "The two ways of pooling differ.")
holds(grepl("stacked0", fails(tovik_mids(file.path(work, "sets.csv")))), "The missing original is not told.")

# Draws and table tell the same.
draws <- tovik_draws(file.path(work, "draws.csv"))
table <- tovik_table(file.path(work, "table.csv"))
holds(posterior::ndraws(draws) == 1000 && posterior::nchains(draws) == 2, "Draws are lost.")
told <- as.data.frame(posterior::summarise_draws(
  draws, mean, median, sd, mad, ~quantile(.x, c(0.025, 0.975), type = 5)))
names(told) <- c("parameter", "mean", "median", "sd", "mad", "q2.5", "q97.5")
holds(identical(told$parameter, table$parameter), "Names of draws and table differ.")
varies <- told$sd > 0
for (column in names(told)[-1]) {
  # Ten digits of a draw are 5e-10 of it, whatever its spread.
  gap <- abs(told[[column]] - table[[column]]) / pmax(abs(told[[column]]), abs(told$mean), told$sd)
  holds(all(gap[varies] < 1e-8), "The ", column, " of ", told$parameter[which.max(gap)], " differs.")
}

# Plots, on a device that keeps nothing.
grDevices::pdf(NULL)
plot_trace(draws, told$parameter[varies][1:4])
plot_density(draws, told$parameter[1:4])
effects <- plot_effects(table, "score")
holds(nrow(effects) >= 4, "Effects are left out.")
plot_imputed(imputed, "ses")
holds(grepl("nothing", fails(plot_trace(draws, "nothing"))), "An unknown parameter is not told.")
invisible(grDevices::dev.off())

# A file for each chain is the same draws.
writeLines(sub("draws = draws.csv", "draws = chain*.csv", commands), file.path(work, "chains.tovik"))
tovik_run(file.path(work, "chains.tovik"), program = program)
holds(isTRUE(all.equal(as.data.frame(tovik_draws(file.path(work, "chain*.csv"))), as.data.frame(draws))),
      "The chains' files differ from the one of all.")
cat("The reader for R reads what the program writes.\n")
