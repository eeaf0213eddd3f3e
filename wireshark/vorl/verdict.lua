-- What a receiver makes of a frame, and what cannot be shown of a packet: fields and expert information.
return function(part)
    local fields = part("fields")
    local verdict = { experts = {} }

    local function add_expert(name, text, group, severity)
        local made = ProtoExpert.new("vorl.expert." .. name, text, group, severity)
        verdict.experts[#verdict.experts + 1] = made
        return made
    end

    local function add_problem(name, text, severity)
        return add_expert(name, text, expert.group.UNDECODED, severity or expert.severity.WARN)
    end

    -- By the check that fails, in the reader's order.
    local refused = {}
    for _, rule in ipairs({
        "length", "table position", "vtable position", "vtable length", "field", "body", "elements", "count", "memory",
        "element position",
    }) do
        refused[rule] = add_expert(rule:gsub(" ", "_"), "a receiver refuses it: " .. rule, expert.group.MALFORMED,
            expert.severity.ERROR)
    end

    local problems = {
        damaged = add_problem("damaged", "the packet is damaged"),
        unknown_kind = add_problem("unknown_kind", "packets of this kind are not known", expert.severity.NOTE),
        unknown_message = add_problem("unknown_message", "nobody says what this identifier is", expert.severity.NOTE),
        cut = add_problem("cut", "not all bytes of the frame are here", expert.severity.NOTE),
        lost_parts = add_problem("lost_parts", "packets of this frame are missing"),
        gave_up = add_problem("gave_up", "lists overlap too much to be read"),
    }

    -- One of the problems above, in more words where there are any.
    function verdict.problem(tree, name, text)
        if text then
            tree:add_proto_expert_info(problems[name], text)
        else
            tree:add_proto_expert_info(problems[name])
        end
    end

    -- Of a frame whose bytes are all here. `refusal`: nil, it is accepted.
    function verdict.add(tree, range, refusal)
        local item = tree:add(fields.refused, refusal ~= nil)
        item:set_generated()
        if not refusal then
            return
        end
        local where = refusal.size > 0 and range(refusal.at, refusal.size) or nil
        local function add(field, value)
            local made = where and item:add(field, where, value) or item:add(field, value)
            made:set_generated()
        end
        add(fields.check.rule, refusal.rule)
        add(fields.check.at, refusal.at)
        add(fields.check.member, refusal.member)
        add(fields.check.text, refusal.text)
        item:add_proto_expert_info(refused[refusal.rule],
            (refusal.member == "" and "" or refusal.member .. ": ") .. refusal.text)
    end

    return verdict
end
