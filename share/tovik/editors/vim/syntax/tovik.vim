" Vim syntax of Tovik command files, made from the tables of the program: edit those, then run make desk.
if exists('b:current_syntax')
  finish
endif
syntax case ignore
syntax iskeyword @,48-57,_,192-255,.
syntax match tovikComment "#.*$"
syntax match tovikCommand "\<\(BURN\|BYGROUP\|CENTER\|CENTERING\|CHAIN\|CHAINS\|CLUSTERID\|COMPUTE\|COUNT\|DATA\|DEBUG\|FACTOR\|FACTORS\|FCS\|FIXED\|ITER\|ITERATIONS\|LATENT\|MISIND\|MISSING\|MODEL\|NIMP\|NIMPS\|NITER\|NITERATIONS\|NOMINAL\|OPTIONS\|ORDINAL\|OUTFILE\|OUTPUT\|PARAMETER\|PARAMETERS\|PHANTOM\|PHANTOMS\|PLOT\|PLOTS\|RANDEFF\|RANDOMEFFECT\|SAVE\|SEED\|SIMPLE\|SIMPLEEFFECTS\|SIMULATE\|STARTS\|TEST\|THIN\|TRANSFORM\|VARIABLES\|WALDTEST\|WEIGHT\|WEIGHTS\):"
syntax match tovikFunction "\<\(abs\|acos\|asin\|atan\|center\|clmn\|clsd\|cos\|exp\|expm1\|ifelse\|iphi\|ismissing\|iyjt\|lag1\|ln\|log\|log1p\|logit\|max\|mean\|min\|missing\|normal\|phi\|probit\|scale\|sd\|sigm\|sin\|sqrt\|stand\|switch\|tan\|uniform\|vec\|yjt\)\ze\s*("
syntax keyword tovikOption accepts allow_multivariate allow_tune_fail allpat allpatterns avgimp brief burn categorical_prior chisq correlations covariatemodel covmdl data dataset debug_print default default_mean default_median default_testing disable_corrs disable_dic draws ess ess_max_niter ess_sampler estimates freeloading freeloadings gibbs heterogeneous hev homogeneous hov icccutoff imp imputations iterations keeprows label labelfile labels latent likelihood listwise logvar_truncate mad mad_sd madsd manifest max_pat mcmc_se mcmcse mean median metropolis_sampler mice multi_mh_max_iter n_eff neff no_drop no_optimize no_reduce no_sort noclmean nomean nopsr norandomstarts noscien noscientific notuneinfo optimize_models p-value pg_max_niter pg_n_gamma print_all_rcorr print_debug print_fixed_values print_iterations prior1 prior1raneff prior1resvar prior2 prior2raneff prior2resvar prior3 prior3raneff prior3resvar psr psr_interval psrf pvalue q50 q95 q99 quant quant50 quant95 quant99 quantile quantiles randomstarts reduce_models resid_corrs rhat savelatent savepred savepredicted saveresid saveresidual saveresiduals savevariablenames savevarnames scaled_priors scien scientific sd sep separate simple sort_models sort_rcorrs split_chain stack stack0 stacked stacked0 starts startsdispersion stddev table trunc_norm_max_niter tunecheck tuneinfo undefcov undefinedcovariance use_autosolver use_phantom var variance varimp varnam_truncate wald waldstat waldtest xprior1 xprior2 xprior3
syntax match tovikNumber "\<\d\+\(\.\d*\)\=\(e[-+]\=\d\+\)\=\>"
syntax match tovikLabel "@\h[0-9A-Za-z_.]*"
syntax match tovikOperator "<->\|->\|\~\~\|[~|=<>]"
syntax region tovikString start=+"+ end=+"+ oneline
highlight default link tovikComment Comment
highlight default link tovikCommand Statement
highlight default link tovikFunction Function
highlight default link tovikOption Constant
highlight default link tovikNumber Number
highlight default link tovikLabel Identifier
highlight default link tovikOperator Operator
highlight default link tovikString String
let b:current_syntax = 'tovik'
