# Tovik's files in R: runs, imputed data sets, draws, tables, and four plots. Nothing here needs a package
# unless its help says so: mice, mitml and posterior are called where their objects are made.
#
#   source("tovik.R")
#   tovik_run("analysis.tovik")
#   imputed <- tovik_mids("imps.csv")                 # SAVE: stacked0 = imps.csv
#   summary(mice::pool(with(imputed, lm(y ~ x))))

# Runs a command file. `options`: further words of the command line, as c("--seed", "7"). `program`: the path of
# tovik. The value is the report, one string a line, invisibly; a run that ends with an error stops with its text.
tovik_run <- function(command_file, options = character(), program = "tovik") {
  stopifnot(is.character(command_file), length(command_file) == 1)
  if (!file.exists(command_file)) stop("There is no file '", command_file, "'.", call. = FALSE)
  report <- suppressWarnings(system2(program, shQuote(c(command_file, options)), stdout = TRUE, stderr = TRUE))
  status <- attr(report, "status")
  if (!is.null(status) && status != 0) {
    from <- grep("^ *(ERROR|ERORR)", report)
    told <- if (length(from) > 0) report[from[1]:length(report)] else utils::tail(report, 5)
    stop("Tovik ended with status ", status, ".\n", paste(told, collapse = "\n"), call. = FALSE)
  }
  invisible(structure(as.character(report), class = "tovik_report"))
}

print.tovik_report <- function(x, ...) {
  writeLines(unclass(x))
  invisible(x)
}

# The file of SAVE: stacked or stacked0 as one data frame; its first column is the number of the data set.
tovik_stacked <- function(file, na = "NA") {
  all <- utils::read.csv(file, na.strings = na, check.names = FALSE)
  if (ncol(all) < 2 || names(all)[1] != "imp#") {
    stop("'", file, "' is no file of SAVE: stacked or stacked0 with names at its head: its first column is not 'imp#'.\n",
         "Add OPTIONS: savevarnames; when the data have no names.", call. = FALSE)
  }
  all
}

# A mids object of package mice from the file of SAVE: stacked0. Each data set must have the rows of the data
# file: OPTIONS: keeprows.
tovik_mids <- function(file, na = "NA") {
  all <- tovik_stacked(file, na)
  if (!any(all[[1]] == 0)) stop("'", file, "' holds no incomplete data: save it with stacked0.", call. = FALSE)
  rows <- table(all[[1]])
  if (length(unique(rows)) > 1) {
    stop("The data sets of '", file, "' have not as many rows as the data file. Add OPTIONS: keeprows; to the run.",
         call. = FALSE)
  }
  incomplete <- all[all[[1]] == 0, -1, drop = FALSE]
  first <- all[all[[1]] == min(all[[1]][all[[1]] > 0]), -1, drop = FALSE]
  # Residuals, predictions and scores have no incomplete counterpart: mice would take all of it for missing.
  derived <- vapply(incomplete, function(x) all(is.na(x)), NA) & !vapply(first, anyNA, NA)
  if (all(derived)) stop("'", file, "' holds no observed values.", call. = FALSE)
  all <- all[c(TRUE, !derived)]
  all <- data.frame(.imp = all[[1]], .id = rep(seq_len(rows[1]), length(rows)), all[-1], check.names = FALSE)
  mice::as.mids(all)
}

# The imputed data sets as a list of package mitml, from SAVE: stacked or stacked0: with(), testEstimates().
tovik_mitml <- function(file, na = "NA") {
  all <- tovik_stacked(file, na)
  all <- all[all[[1]] > 0, , drop = FALSE]
  sets <- unname(split(all[-1], all[[1]]))
  mitml::as.mitml.list(lapply(sets, function(one) {
    rownames(one) <- NULL
    one
  }))
}

# The draws of SAVE: draws as a draws_df of package posterior. `file` may hold * for a file a chain.
tovik_draws <- function(file) {
  files <- if (grepl("*", basename(file), fixed = TRUE)) Sys.glob(file) else file
  if (length(files) == 0) stop("There is no file '", file, "'.", call. = FALSE)
  parts <- lapply(files, utils::read.csv, check.names = FALSE)
  all <- do.call(rbind, parts)
  if (!all(c(".chain", ".iteration", ".draw") %in% names(all))) {
    stop("'", file, "' is no file of SAVE: draws.", call. = FALSE)
  }
  posterior::as_draws_df(all[order(all$.draw), , drop = FALSE])
}

# The table of SAVE: table, one row an estimate.
tovik_table <- function(file) {
  utils::read.csv(file, check.names = FALSE, na.strings = c("NA", ""))
}

# What plots take: draws of tovik_draws(), or any data frame with the same columns.
tovik_columns <- function(draws, parameters) {
  draws <- as.data.frame(draws)
  all <- setdiff(names(draws), c(".chain", ".iteration", ".draw"))
  if (is.null(parameters)) parameters <- all
  unknown <- setdiff(parameters, all)
  if (length(unknown) > 0) stop("There is no parameter '", unknown[1], "'.", call. = FALSE)
  list(draws = draws, parameters = parameters)
}

tovik_colours <- function(n) grDevices::hcl.colors(max(n, 2), "Dark 3")[seq_len(n)]

tovik_panels <- function(n) {
  columns <- ceiling(sqrt(n))
  graphics::par(mfrow = c(ceiling(n / columns), columns), mar = c(4, 4, 2, 1))
}

# Draws by iteration, a colour for each chain: chains that mix look alike and have no trend.
plot_trace <- function(draws, parameters = NULL) {
  what <- tovik_columns(draws, parameters)
  old <- tovik_panels(length(what$parameters))
  on.exit(graphics::par(old))
  chains <- sort(unique(what$draws$.chain))
  colours <- tovik_colours(length(chains))
  for (name in what$parameters) {
    values <- what$draws[[name]]
    graphics::plot(range(what$draws$.iteration), range(values, na.rm = TRUE), type = "n", xlab = "iteration",
                   ylab = "", main = name)
    for (k in seq_along(chains)) {
      here <- what$draws$.chain == chains[k]
      graphics::lines(what$draws$.iteration[here], values[here], col = colours[k])
    }
  }
  invisible(what$parameters)
}

# Posterior densities, a line for each chain.
plot_density <- function(draws, parameters = NULL) {
  what <- tovik_columns(draws, parameters)
  old <- tovik_panels(length(what$parameters))
  on.exit(graphics::par(old))
  chains <- sort(unique(what$draws$.chain))
  colours <- tovik_colours(length(chains))
  for (name in what$parameters) {
    values <- what$draws[[name]]
    if (diff(range(values)) == 0) {
      graphics::plot(values[1], 1, type = "h", xlab = "", ylab = "density", main = paste(name, "(fixed)"))
      next
    }
    lines <- lapply(chains, function(chain) stats::density(values[what$draws$.chain == chain]))
    graphics::plot(range(values), c(0, max(vapply(lines, function(d) max(d$y), 0))), type = "n", xlab = "",
                   ylab = "density", main = name)
    for (k in seq_along(lines)) graphics::lines(lines[[k]], col = colours[k])
  }
  invisible(what$parameters)
}

# Medians and 95% intervals of the coefficients in the table of tovik_table().
plot_effects <- function(table, outcome = NULL, section = "Coefficients") {
  rows <- table[which(table$section == section & !is.na(table$q2.5)), , drop = FALSE]
  if (!is.null(outcome)) rows <- rows[which(rows$outcome == outcome), , drop = FALSE]
  if (nrow(rows) == 0) stop("The table has no such rows.", call. = FALSE)
  names <- rows$parameter
  at <- rev(seq_len(nrow(rows)))
  old <- graphics::par(mar = c(4, 2 + 0.5 * max(nchar(names)), 1, 1))
  on.exit(graphics::par(old))
  graphics::plot(range(rows$q2.5, rows$q97.5, 0), c(0.5, nrow(rows) + 0.5), type = "n", yaxt = "n", ylab = "",
                 xlab = "median and 95% interval")
  graphics::abline(v = 0, lty = 3)
  graphics::segments(rows$q2.5, at, rows$q97.5, at)
  graphics::points(rows$median, at, pch = 19)
  graphics::axis(2, at = at, labels = names, las = 1)
  invisible(rows)
}

# Observed values of a variable against imputed ones, a line for each of the first data sets.
plot_imputed <- function(imputed, variable, sets = 5) {
  data <- imputed$data
  if (!variable %in% names(data)) stop("There is no variable '", variable, "'.", call. = FALSE)
  cells <- imputed$imp[[variable]]
  observed <- data[[variable]][!is.na(data[[variable]])]
  if (is.null(cells) || nrow(cells) == 0) stop("Nothing of '", variable, "' is missing.", call. = FALSE)
  cells <- as.matrix(cells)[, seq_len(min(sets, ncol(cells))), drop = FALSE]
  lines <- lapply(seq_len(ncol(cells)), function(k) if (nrow(cells) > 1) stats::density(cells[, k]))
  lines <- Filter(Negate(is.null), lines)
  own <- stats::density(observed)
  graphics::plot(range(own$x, unlist(lapply(lines, `[[`, "x"))), c(0, max(own$y, unlist(lapply(lines, `[[`, "y")))),
                 type = "n", xlab = variable, ylab = "density", main = "observed (thick) and imputed")
  for (one in lines) graphics::lines(one, col = "grey50")
  graphics::lines(own, lwd = 2)
  graphics::rug(cells[, 1])
  invisible(variable)
}
