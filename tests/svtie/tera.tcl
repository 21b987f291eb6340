# Modes, models and transforms by their names.
is MAXIMUM [TeraEval::get_default_model EXACT]
is MAXIMUM [TeraEval::get_enum_model maximum]
is QUERY [TeraEval::get_model_name QUERY]
is 185 [TeraEval::phone_eval 200 100 50]
is 7 [TeraEval::set_length_bias 0 3 7]
is 7 [TeraEval::get_length_bias 2]
TeraEval::set_length_bias 0 3 0
is 1 [TeraEval::check_flags 0x1000]
is 0 [TeraEval::check_flags 0x9000]
is 1 [TeraEval::check_reason 0x21 TYPING_ERROR]
is 0 [TeraEval::check_reason 0x21 VARIATION]
set transform [TeraTransform::factory METAPHONE]
is RBRT [TeraTransform::code $transform Robert]
is 1 [TeraTransform::eval $transform Robert]
set copy [TeraTransform::copy_instance $transform]
is RPRT [TeraTransform::code $copy Rupert]
TeraTransform::set_resource_path $folder
foreach made [list $transform $copy] {is 0 [~TeraTransform $made]}
